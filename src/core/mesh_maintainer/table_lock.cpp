// The sequence lock of the shared node table. The word lives in shared
// memory, so it is changed with atomic operations that work across
// processes (a plain 32-bit word, lock-free on every target).
#include "table_lock.h"

#include "platform.h"

#include <sched.h>

namespace mesh_table {

namespace {

// Depth of this process's write guards: while it is above 0 this process
// holds the lock and its reads need no retry.
int write_depth = 0;
// How long an odd word must stay unchanged before a writer or reader
// decides that its holder died mid-change (a live holder may be descheduled
// for a while on a busy machine, so this is generous).
const int64_t kDeadHolderMs = 2000;

// Tells a holder that died from one that is merely slow: the odd word must
// not move for kDeadHolderMs.
class holder_watch {
  public:
    // True when the holder looks dead, given the word seen now.
    bool dead(uint32_t word) {
        int64_t now = plat_monotonic_ms();
        if (!watching_ || word != word_) {
            watching_ = true;
            word_ = word;
            since_ = now;
            return false;
        }
        return now - since_ >= kDeadHolderMs;
    }

  private:
    bool watching_ = false;
    uint32_t word_ = 0;
    int64_t since_ = 0;
};

uint32_t load(const mesh_maintainer* inst, int order) { return __atomic_load_n(&inst->sequence, order); }

}  // namespace

write_guard::write_guard(mesh_maintainer* inst) : inst_(inst) {
    if (write_depth++ > 0) return;
    uint32_t seen = load(inst, __ATOMIC_RELAXED);
    holder_watch holder;
    for (;;) {
        if (!(seen & 1u) && __atomic_compare_exchange_n(&inst->sequence, &seen, seen + 1, false, __ATOMIC_ACQUIRE,
                                                        __ATOMIC_RELAXED))
            break;
        if ((seen & 1u) && holder.dead(seen)) break;  // the holder is gone: go on as its heir, the word odd
        sched_yield();
        seen = load(inst, __ATOMIC_RELAXED);
    }
    __atomic_thread_fence(__ATOMIC_RELEASE);
}

write_guard::~write_guard() {
    if (--write_depth > 0) return;
    uint32_t odd = load(inst_, __ATOMIC_RELAXED) | 1u;
    __atomic_store_n(&inst_->sequence, odd + 1, __ATOMIC_RELEASE);
}

uint32_t read_begin(const mesh_maintainer* inst) {
    if (write_depth > 0) return 0;
    uint32_t ticket = load(inst, __ATOMIC_ACQUIRE);
    // Waits for an even word; an odd one that stays the same for a long
    // while belongs to a writer that died mid-change and is taken as it is.
    holder_watch holder;
    while ((ticket & 1u) && !holder.dead(ticket)) {
        sched_yield();
        ticket = load(inst, __ATOMIC_ACQUIRE);
    }
    return ticket;
}

bool read_end(const mesh_maintainer* inst, uint32_t ticket) {
    if (write_depth > 0) return true;
    __atomic_thread_fence(__ATOMIC_ACQUIRE);
    // An odd ticket comes only from a writer that never finished: what was
    // read is then taken as it is, unless the word moved meanwhile.
    return load(inst, __ATOMIC_RELAXED) == ticket;
}

}  // namespace mesh_table
