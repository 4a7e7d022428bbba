// Which rate each buffer from a sender was played at, across rate changes.
#include "tests/support/LTempFolder.h"
#include "tools/harlune/DeviceRates.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

namespace harlune::test {
namespace {

using Clock = tools::LDeviceRates::LClock;
using std::chrono::milliseconds;

class DeviceRatesTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(mkdir((m_folder / "services").c_str(), 0700), 0);
        setenv("HARLUNE_XPC_SERVICE_DIR", (m_folder / "services").c_str(), 1);
        ASSERT_TRUE(m_publisher.Publish(44100, nullptr));
    }
    LTempFolder m_folder;
    host::LDevicePublisher m_publisher;
    Clock::time_point m_t0 = Clock::now();
};

TEST_F(DeviceRatesTest, BuffersStillArrivingAfterAChangeKeepTheOldRateUntilTheMark) {
    struct Step {
        const char* szWhat;
        double fPublish;    // a new rate published first; 0: none
        bool bMark;         // the buffer is the empty mark
        int nMs;            // when it arrives
        double fExpected;   // the rate it is taken at
    };
    const Step arSteps[] = {
        {"first buffer", 0, false, 0, 44100},
        {"published 48000", 48000, false, 10, 44100},
        {"still in flight", 0, false, 20, 44100},
        {"the mark", 0, true, 30, 48000},
        {"after the mark", 0, false, 40, 48000},
        {"back to 44100, mark lost", 44100, false, 100, 48000},
        {"unmarked for long enough", 0, false, 100 + 600, 44100},
    };
    tools::LDeviceRates rates;
    for (const Step& step : arSteps) {
        if (step.fPublish > 0) {
            m_publisher.SetSampleRate(step.fPublish);
        }
        EXPECT_EQ(rates.RateOf(getpid(), step.bMark, m_t0 + milliseconds(step.nMs)), step.fExpected) << step.szWhat;
    }
}

TEST_F(DeviceRatesTest, AFirstBufferJustAfterAChangeWaitsForTheMarkToo) {
    m_publisher.SetRunning(true); // buffers at 44100 were played
    m_publisher.SetRunning(false);
    m_publisher.SetSampleRate(48000);
    const Clock::time_point changed = Clock::now();
    struct Case {
        const char* szWhat;
        int nMs;          // when the first buffer arrives after the change
        bool bMarkNext;   // the mark follows it
        double fFirst, fSecond;
    };
    const Case arCases[] = {
        {"in flight, then the mark", 5, true, 44100, 48000},
        {"in flight, no mark, waited out", 5, false, 44100, 48000},
        {"long after the change", 900, false, 48000, 48000},
    };
    for (const Case& c : arCases) {
        tools::LDeviceRates rates;
        const Clock::time_point first = changed + milliseconds(c.nMs);
        EXPECT_EQ(rates.RateOf(getpid(), false, first), c.fFirst) << c.szWhat;
        const Clock::time_point second = c.bMarkNext ? first + milliseconds(1) : changed + milliseconds(700);
        EXPECT_EQ(rates.RateOf(getpid(), c.bMarkNext, second), c.fSecond) << c.szWhat;
    }
}

TEST_F(DeviceRatesTest, AHostThatSwitchesBeforeItPlaysIsTakenAtItsNewRateAtOnce) {
    // `harlune play --rate 48000`: published at 44100, switched, then played.
    m_publisher.SetSampleRate(48000);
    m_publisher.SetRunning(true);
    tools::LDeviceRates rates;
    EXPECT_EQ(rates.RateOf(getpid(), false, Clock::now()), 48000.0);
    // After playing at 48000, a switch back leaves 48000 buffers to arrive.
    m_publisher.SetRunning(false);
    m_publisher.SetSampleRate(44100);
    tools::LDeviceRates later;
    EXPECT_EQ(later.RateOf(getpid(), false, Clock::now()), 48000.0);
}

TEST_F(DeviceRatesTest, ASenderWithoutAPublicationIsLookedForAgainAfterASecond) {
    tools::LDeviceRates rates;
    const pid_t nParent = getppid(); // a live process that publishes nothing here
    EXPECT_EQ(rates.RateOf(nParent, false, m_t0), 0.0);
    host::LDevicePublisher other; // published by this process, not the parent: still nothing
    EXPECT_EQ(rates.RateOf(nParent, false, m_t0 + milliseconds(1500)), 0.0);
    EXPECT_EQ(rates.RateOf(getpid(), false, m_t0), 44100.0);
}

} // namespace
} // namespace harlune::test
