#include "StopOnInterrupt.h"

#include "ErrorText.h"

#include <lumaro/octree/OperationCancelled.h>

#include <atomic>
#include <csignal>
#include <iostream>

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

int runStoppable(std::string_view whenStopped, const bool& barOpen, const std::function<int(StopOnInterrupt&)>& work)
{
    StopOnInterrupt stop;
    try {
        return work(stop);
    } catch (const Octree::OperationCancelled&) {
        std::cerr << "\nlumaro: stopped" << whenStopped << '\n';
        return StopOnInterrupt::exitStatus;
    } catch (const std::exception& error) {
        std::cerr << (barOpen ? "\n" : "") << "lumaro: error: " << explain(error) << '\n';
        return 1;
    }
}

} // namespace Tool
