#include "support/annuity_run.h"

#include <dirent.h>
#include <sys/stat.h>

const std::string ANNUITY_MODEL =
    "(cdef t_span t (v_span (span 0 0)))\n"
    "(split () all (alive dead) (init (quote alive)) (intensity alive dead 0.01))\n"
    "(product_definition (annuity) (= 0 0) (while alive 1.0))\n";

const std::string ANNUITY_PORTFOLIO =
    "(define (sex) (assoc (\"alive->dead\" (parse \"0.001\"))\n"
    "  (\"unmarried->married\" (parse \"0.0\")) (\"married->unmarried\" (parse \"0.0\"))\n"
    "  (\"age_distribution\" (parse \"0.0\"))))\n"
    "(define (tables) (assoc (\"dfsa_yield\" (list 1.0)) (\"dfsa_mortality_female\" (list 0.01))\n"
    "  (\"dfsa_mortality_improvement_female\" (list 0.0))\n"
    "  (\"dfsa_mortality_improvement_male\" (list 0.0)) (\"dfsa_mortality_male\" (list 0.01))))\n"
    "(define (basis) (assoc (\"male\" (sex)) (\"female\" (sex))\n"
    "  (\"dfsa (Finanstilsynet)\" (tables)) (\"yield_curve\" (parse \"2.0\"))\n"
    "  (\"free_policy_fraction\" (parse \"0.5\"))))\n"
    "(define (portfolio) (assoc (\"basis\" (basis)) (\"policies\" (list (assoc\n"
    "  (\"products\" (list (assoc (\"product_definition\" \"annuity\") (\"from\" 1) (\"to\" 2)))))))))\n";

AnnuityRun::AnnuityRun(const std::string& model, const std::string& portfolio,
                       const std::string& run) {
  mkdir(dir.file("work").c_str(), 0700);
  mkdir(dir.file("bin").c_str(), 0700);
  write_scrambled(dir.file("work/m.bin"), model);
  write_scrambled(dir.file("work/p.bin"), portfolio);
  write_scrambled(dir.file("work/r.bin"), run);
}

Outcome AnnuityRun::exec() const {
  return run_program({TALVON_EXE, "exec", "m.bin", "p.bin", "r.bin"}, "", dir.file("work"));
}

Outcome AnnuityRun::server(const std::string& pipe, const std::string& connection) const {
  return run_program({TALVON_EXE, "server", "m.bin", "p.bin", "r.bin", pipe, connection}, "",
                     dir.file("work"));
}

std::vector<std::string> AnnuityRun::files(const std::string& folder) const {
  std::vector<std::string> names;
  DIR* d = opendir(dir.file(folder).c_str());
  if (d == nullptr) return names;
  for (dirent* e = readdir(d); e != nullptr; e = readdir(d)) {
    if (e->d_name[0] != '.') names.push_back(e->d_name);
  }
  closedir(d);
  return names;
}
