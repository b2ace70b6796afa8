#include <lumaro/core/JobState.h>

#include <gtest/gtest.h>

#include <cstdint>

namespace {

// Other threads read the state as a bare number, so the numbers themselves are the contract.
TEST(JobStateTest, StatesHaveTheirAgreedNumbersAndNames)
{
    const struct {
        Core::JobState state;
        std::uint32_t number;
        const char* name;
        bool ended;
    } expected[] = {
        {Core::JobState::NotStarted, 0, "not started", false}, {Core::JobState::Running, 1, "running", false},
        {Core::JobState::Stopped, 2, "stopped", true},         {Core::JobState::Finished, 3, "finished", true},
        {Core::JobState::Failed, 4, "failed", true},
    };
    for (const auto& row : expected) {
        EXPECT_EQ(static_cast<std::uint32_t>(row.state), row.number);
        EXPECT_EQ(Core::jobStateName(row.state), row.name);
        EXPECT_EQ(Core::isEnded(row.state), row.ended) << row.name;
    }
    EXPECT_EQ(Core::jobStateName(static_cast<Core::JobState>(9)), "unknown");
    EXPECT_EQ(sizeof(Core::JobState), 4u);
}

} // namespace
