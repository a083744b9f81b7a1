// The process's start-up object.
#include "platcompat.h"

#include <atomic>

namespace {
std::atomic<ISwpStartup*> g_startup{nullptr};
}

ISwpStartup* getSwpStartup() { return g_startup.load(std::memory_order_acquire); }

ISwpStartup* setSwpStartup(ISwpStartup* startup) {
    return g_startup.exchange(startup, std::memory_order_acq_rel);
}
