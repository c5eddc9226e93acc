#include "tools/run/run_json.h"

#include <cmath>
#include <nlohmann/json.hpp>

std::string run_json(const RunFacts& facts, const std::vector<PairSeries>& pairs) {
  using nlohmann::ordered_json;
  ordered_json run;
  run["talvon_version"] = facts.talvon_version;
  run["started"] = facts.started;
  ordered_json inputs = ordered_json::array();
  for (const InputFile& input : facts.inputs) {
    inputs.push_back({{"role", input.role}, {"path", input.path}, {"sha256", input.sha256}});
  }
  run["inputs"] = inputs;
  run["valuation_date"] = facts.valuation_month < 0 ? ordered_json() : ordered_json(calendar_month(facts.valuation_month));
  run["policies"] = facts.policies < 0 ? ordered_json() : ordered_json(facts.policies);
  run["chunks"] = facts.chunks;
  run["months"] = MONTH_LIMIT;
  run["discounting"] = DISCOUNTING_RULE;
  ordered_json phases = ordered_json::array();
  double total = 0;
  for (const PhaseTime& phase : facts.phases) {
    phases.push_back({{"phase", phase.name}, {"seconds", std::round(phase.seconds * 1000) / 1000}});
    total += phase.seconds;
  }
  run["phases"] = phases;
  run["seconds"] = std::round(total * 1000) / 1000;
  run["exit_status"] = facts.exit_status;
  ordered_json reserves = ordered_json::array();
  for (const PairSeries& pair : pairs) {
    // JSON has no NaN or infinity: such a reserve is null.
    ordered_json value = std::isfinite(pair.reserve) ? ordered_json(pair.reserve) : ordered_json();
    reserves.push_back({{"from", pair.from}, {"to", pair.to}, {"flow", label_of(facts.labels, pair.from, pair.to)},
                        {"reserve", value}});
  }
  run["reserves"] = reserves;
  run["files"] = {"cashflows.csv", "reserves.csv", "cashflows.svg", "reserves.svg", "report.html", "run.json"};
  return run.dump(2) + "\n";
}
