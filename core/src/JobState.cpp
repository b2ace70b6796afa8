#include <lumaro/core/JobState.h>

namespace Core {

std::string_view jobStateName(JobState state)
{
    switch (state) {
    case JobState::NotStarted: return "not started";
    case JobState::Running: return "running";
    case JobState::Stopped: return "stopped";
    case JobState::Finished: return "finished";
    case JobState::Failed: return "failed";
    }
    return "unknown";
}

} // namespace Core
