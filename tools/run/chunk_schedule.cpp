#include "tools/run/chunk_schedule.h"

#include <poll.h>

#include <cstdio>
#include <memory>

#include "tools/run/run_guard.h"

namespace {

constexpr int BAR_WIDTH = 30;
constexpr int POLL_MILLISECONDS = 100;
// The calculation program sends one small record at a time. Letting them
// gather in the pipe (64 KiB, far more than arrives in this time) before
// reading saves thousands of wake-ups of both sides.
constexpr int GATHER_MILLISECONDS = 10;

// Waits a little, or less when a signal comes.
void gather() {
  pollfd fd = {signal_fd(), POLLIN, 0};
  poll(&fd, 1, GATHER_MILLISECONDS);
}

struct Running {
  size_t index;
  std::unique_ptr<ChunkJob> job;
};

std::string bar_line(const std::vector<ScheduledChunk>& chunks, const std::vector<Running>& running,
                     size_t finished, long finished_weight) {
  if (chunks.size() == 1 && !running.empty()) {
    const ChunkJob& job = *running[0].job;
    return progress_line(job.progress_stream.value, months_received(job.result_stream), BAR_WIDTH);
  }
  long total = 0;
  for (const ScheduledChunk& chunk : chunks) total += chunk.weight;
  double done = static_cast<double>(finished_weight);
  for (const Running& r : running) done += chunks[r.index].weight * chunk_fraction(*r.job);
  return chunks_progress_line(total > 0 ? done / static_cast<double>(total) : 0.0, finished,
                              running.size(), chunks.size(), BAR_WIDTH);
}

void show(const std::string& line, std::string& shown) {
  if (line == shown) return;
  shown = line;
  fprintf(stderr, "\r%s\033[K", line.c_str());
  fflush(stderr);
  set_bar_shown(true);
}

}  // namespace

void value_chunks(const std::vector<ScheduledChunk>& chunks, int jobs, bool display,
                  const std::string& keep_into, const std::function<void(ChunkResult&)>& take, PhaseClock* clock) {
  std::vector<std::unique_ptr<ChunkResult>> waiting(chunks.size());
  size_t taken = 0;
  std::vector<Running> running;
  size_t next = 0, finished = 0;
  long finished_weight = 0;
  std::string shown;
  while (finished < chunks.size()) {
    while (static_cast<int>(running.size()) < jobs && next < chunks.size()) {
      Running r{next, std::make_unique<ChunkJob>()};
      r.job->name = chunks[next].name;
      start_chunk(*r.job, chunks[next].input);
      running.push_back(std::move(r));
      next++;
    }
    std::vector<ChunkJob*> jobs_now;
    for (Running& r : running) jobs_now.push_back(r.job.get());
    serve_chunks(jobs_now, POLL_MILLISECONDS);
    for (Running& r : running) {
      if (clock != nullptr && r.index == 0) end_phases_by_progress(*clock, r.job->progress_stream.value);
    }
    bool any_ended = false;
    for (ChunkJob* job : jobs_now) any_ended = any_ended || job->ended;
    if (!any_ended) gather();
    for (size_t i = 0; i < running.size();) {
      if (!running[i].job->ended) {
        i++;
        continue;
      }
      size_t index = running[i].index;
      waiting[index] = std::make_unique<ChunkResult>(finish_chunk(*running[i].job, keep_into));
      finished++;
      finished_weight += chunks[index].weight;
      running.erase(running.begin() + static_cast<long>(i));
    }
    for (; taken < chunks.size() && waiting[taken] != nullptr; taken++) {
      take(*waiting[taken]);
      waiting[taken].reset();
    }
    if (display) show(bar_line(chunks, running, finished, finished_weight), shown);
  }
  clear_bar();
}
