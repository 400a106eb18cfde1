#include "survey/frame/stream_end.h"

#include <atomic>

namespace {

std::atomic<bool> hostEndsStreamsOnZero{false};

}  // namespace

extern "C" SURVEY_API void survey_host_ends_streams_on_zero() {
  hostEndsStreamsOnZero.store(true, std::memory_order_relaxed);
}

namespace survey::frame {

bool HostEndsStreamsOnZero() { return hostEndsStreamsOnZero.load(std::memory_order_relaxed); }

}  // namespace survey::frame
