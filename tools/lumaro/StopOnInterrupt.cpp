#include "StopOnInterrupt.h"

#include <atomic>
#include <csignal>

namespace Tool {

namespace {

std::atomic<bool> interrupted{false};

extern "C" void onInterrupt(int)
{
    interrupted = true;
}

} // namespace

StopOnInterrupt::StopOnInterrupt()
{
    interrupted = false;
    std::signal(SIGINT, onInterrupt);
}

StopOnInterrupt::~StopOnInterrupt()
{
    std::signal(SIGINT, SIG_DFL);
}

void StopOnInterrupt::check()
{
    if (interrupted)
        mStop.request_stop();
}

} // namespace Tool
