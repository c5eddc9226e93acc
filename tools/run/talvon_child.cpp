#include "tools/run/talvon_child.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "driver/diagnostics.h"
#include "platform/compat_include.h"
#include "tools/run/child_spawn.h"

std::string talvon_path() { return executable_dir() + "/talvon"; }

TalvonChild start_talvon(const std::vector<std::string>& argv, const std::string& cwd) {
  SpawnOptions options;
  options.cwd = cwd.c_str();
  options.own_group = true;
  options.prefix = "talvon-run: ";
  SpawnedChild child = spawn_child(argv, options);
  fcntl(child.out, F_SETFL, O_NONBLOCK);
  fcntl(child.err, F_SETFL, O_NONBLOCK);
  return TalvonChild{child.pid, child.out, child.err};
}

void become_subreaper() { prctl(PR_SET_CHILD_SUBREAPER, 1); }

void end_process_group(pid_t group, bool talvon_reaped) {
  if (group <= 0) return;
  int status;
  // Once talvon is reaped the group is killed only while a child of ours is
  // left in it, so a group id given out again is never hit.
  if (talvon_reaped && waitpid(-group, &status, WNOHANG) < 0) return;
  kill(-group, SIGKILL);
  for (;;) {
    pid_t done = waitpid(-group, &status, 0);
    if (done < 0 && errno == EINTR) continue;
    if (done < 0) break;
  }
}
