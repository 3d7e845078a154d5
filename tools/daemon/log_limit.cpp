#include "log_limit.h"

bool log_limit::allow(int* dropped) {
    auto now = std::chrono::steady_clock::now();
    if (used_ == 0 || now - window_start_ >= window_) {
        window_start_ = now;
        used_ = 0;
    }
    if (used_ >= burst_) {
        dropped_++;
        *dropped = 0;
        return false;
    }
    used_++;
    *dropped = dropped_;
    dropped_ = 0;
    return true;
}
