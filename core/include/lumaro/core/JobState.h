#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>

namespace Core {

// State of a background job. The numbers are part of the interface: other threads read the state
// as a plain 32-bit value (usually a std::atomic<JobState>) without taking a lock.
enum class JobState : std::uint32_t {
    NotStarted = 0,
    Running = 1,
    Stopped = 2, // ended early because a stop was requested
    Finished = 3, // all work done
    Failed = 4,
};

static_assert(std::atomic<JobState>::is_always_lock_free, "the job state is read across threads without a lock");

// A job has come to rest when it will not change state again without being started anew.
constexpr bool isEnded(JobState state)
{
    return state == JobState::Stopped || state == JobState::Finished || state == JobState::Failed;
}

// "not started", "running", "stopped", "finished", "failed"; "unknown" for a value outside the enum.
std::string_view jobStateName(JobState state);

} // namespace Core
