#include "progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace kxtool {
namespace {

constexpr auto kQuietStart = std::chrono::milliseconds(500);

// KXCALC_PROGRESS_DELAY_MS shortens (or lengthens) the quiet start, for the tests.
std::chrono::milliseconds quietStart() {
  const char* text = std::getenv("KXCALC_PROGRESS_DELAY_MS");
  if (text == nullptr || *text == '\0') return kQuietStart;
  char* end = nullptr;
  const long milliseconds = std::strtol(text, &end, 10);
  return *end == '\0' && milliseconds >= 0 ? std::chrono::milliseconds(milliseconds) : kQuietStart;
}
constexpr auto kRedrawEvery = std::chrono::milliseconds(100);

int terminalColumns() {
  winsize size{};
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col >= 40) return size.ws_col;
  return 80;
}

}  // namespace

Progress::Progress(std::string label, uint64_t total)
    : label_(std::move(label)),
      total_(total),
      terminal_(isatty(STDERR_FILENO) == 1),
      quietStart_(quietStart()),
      start_(Clock::now()),
      lastDraw_(start_) {}

Progress::~Progress() {
  finish();
}

void Progress::update(uint64_t done) {
  if (!terminal_) return;
  const Clock::time_point now = Clock::now();
  if (now - start_ < quietStart_ || (drawn_ && now - lastDraw_ < kRedrawEvery)) return;
  lastDraw_ = now;
  draw(done);
}

void Progress::draw(uint64_t done) {
  const double seconds = std::chrono::duration<double>(Clock::now() - start_).count();
  char tail[64];
  if (total_ == 0) {
    std::snprintf(tail, sizeof(tail), " %llu  %.1f s", static_cast<unsigned long long>(done),
                  seconds);
    std::fprintf(stderr, "\r%s%s\033[K", label_.c_str(), tail);
  } else {
    const double fraction = std::min(1.0, static_cast<double>(done) / static_cast<double>(total_));
    std::snprintf(tail, sizeof(tail), "] %3.0f%%  %.1f s", fraction * 100, seconds);
    const int width = std::max(10, terminalColumns() - static_cast<int>(label_.size()) -
                                       static_cast<int>(sizeof(" [") - 1) - 20);
    const int filled = static_cast<int>(fraction * width);
    std::string bar(static_cast<size_t>(filled), '#');
    bar.append(static_cast<size_t>(width - filled), '.');
    std::fprintf(stderr, "\r%s [%s%s\033[K", label_.c_str(), bar.c_str(), tail);
  }
  std::fflush(stderr);
  drawn_ = true;
}

void Progress::finish() {
  if (!drawn_) return;
  std::fputs("\r\033[K", stderr);
  std::fflush(stderr);
  drawn_ = false;
}

}  // namespace kxtool
