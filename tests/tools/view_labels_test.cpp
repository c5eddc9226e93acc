// The labels of a portfolio's view, found in its parsed script.
#include <gtest/gtest.h>

#include "core/reader.h"
#include "tools/run/view_labels.h"

namespace {

std::string labels_text(const char* script) {
  std::string text;
  for (const FlowLabel& flow : find_view_labels(parse(script))) {
    text += std::to_string(flow.from) + ">" + std::to_string(flow.to) + "=" + flow.label + ";";
  }
  return text;
}

TEST(ViewLabelsTest, FlowsOfTheView) {
  struct Case {
    const char* name;
    const char* script;
    const char* labels;
  } cases[] = {
      {"generated portfolio",
       "((define (portfolio) (assoc (\"date_validity\" 1) (\"view\" (list 5 1 1 2 \"Premiums\" 2 3 "
       "\"Benefits a01_009\" 2 4 \"Benefits c01_040\" 2 5 \"Surrender\" 2 6 \"Expenses\")) "
       "(\"policies\" (list)))))",
       "1>2=Premiums;2>3=Benefits a01_009;2>4=Benefits c01_040;2>5=Surrender;2>6=Expenses;"},
      {"count larger than the flows",
       "((define (portfolio) (assoc (\"view\" (list 6 1 1 2 \"Premiums\" 2 3 \"Benefits\")))))",
       "1>2=Premiums;2>3=Benefits;"},
      {"no view", "((define (portfolio) (assoc (\"views\" (list 1 1 1 2 \"x\")))))", ""},
      {"view not a list call", "((define (portfolio) (assoc (\"view\" (parse \"x\")))))", ""},
      {"stops at a broken triple",
       "((define (portfolio) (assoc (\"view\" (list 3 1 1 2 \"A\" 2 x \"B\" 2 4 \"C\")))))", "1>2=A;"},
      {"first view wins",
       "((define (a) (list (\"view\" (list 1 1 3 4 \"first\")))) (define (portfolio) (assoc (\"view\" "
       "(list 1 1 1 2 \"second\")))))",
       "3>4=first;"},
      {"symbols are no view", "((define (portfolio) (assoc (view (list 1 1 1 2 \"A\")))))", ""},
  };
  for (const Case& c : cases) EXPECT_EQ(labels_text(c.script), c.labels) << c.name;
}

// Long lists are walked, not recursed over.
TEST(ViewLabelsTest, LongListBeforeTheView) {
  std::string script = "((define (portfolio) (assoc (\"policies\" (list";
  for (int i = 0; i < 100000; i++) script += " (assoc (\"a\" 1))";
  script += ")) (\"view\" (list 1 1 1 2 \"P\")))))";
  EXPECT_EQ(labels_text(script.c_str()), "1>2=P;");
}

TEST(ViewLabelsTest, LabelOfAPair) {
  std::vector<FlowLabel> labels = {{1, 2, "Premiums"}, {2, 1, "Waiver"}, {1, 2, "later"}};
  EXPECT_EQ(label_of(labels, 1, 2), "Premiums");
  EXPECT_EQ(label_of(labels, 2, 1), "Waiver");
  EXPECT_EQ(label_of(labels, 2, 3), "");
}

}  // namespace
