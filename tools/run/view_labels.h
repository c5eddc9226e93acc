// The portfolio's "view": the flows between accounts that a front end shows,
// with their labels. In a portfolio script it is the entry
//   ("view" (list COUNT 1 FROM TO "LABEL" FROM TO "LABEL" ...))
#pragma once

#include <string>
#include <vector>

#include "core/cell.h"

struct FlowLabel {
  int from;
  int to;
  std::string label;
};

// The flows of the first view entry found in the statements (depth first,
// in file order); none when there is none. The triples are taken as long
// as they are two integers and a string, whatever the count says.
std::vector<FlowLabel> find_view_labels(const Cell* statements);

// The label of a pair; empty when the view has none for it.
std::string label_of(const std::vector<FlowLabel>& labels, int from, int to);
