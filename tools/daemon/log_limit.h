// A bound on how often one kind of message reaches the log, so that a flood
// of malformed requests cannot fill it: at most `burst` messages per window;
// the next message after a window with dropped ones says how many were dropped.
#pragma once

#include <chrono>

class log_limit {
  public:
    log_limit(int burst, std::chrono::steady_clock::duration window) : burst_(burst), window_(window) {}

    // True when the caller may log now. *dropped receives the number of
    // messages refused since the last allowed one (0 mostly).
    bool allow(int* dropped);

  private:
    int burst_;
    std::chrono::steady_clock::duration window_;
    std::chrono::steady_clock::time_point window_start_{};
    int used_ = 0;
    int dropped_ = 0;
};
