// A progress bar on standard error for long work: drawn only when stderr is a terminal, and
// only once the work has taken more than half a second.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace kxtool {

class Progress {
 public:
  // total: the units of work (e.g. frames); 0 when unknown, then only the count is shown.
  Progress(std::string label, uint64_t total);
  ~Progress();  // clears the bar
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void update(uint64_t done);
  void finish();  // clears the bar, if one was drawn

 private:
  using Clock = std::chrono::steady_clock;
  void draw(uint64_t done);

  std::string label_;
  uint64_t total_;
  bool terminal_;
  bool drawn_ = false;
  std::chrono::milliseconds quietStart_;
  Clock::time_point start_;
  Clock::time_point lastDraw_;
};

}  // namespace kxtool
