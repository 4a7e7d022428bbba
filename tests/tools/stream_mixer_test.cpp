// The recorder's mixing of several senders, with a driven clock, and the
// names of per-application files.
#include "tools/harlune/SenderNames.h"
#include "tools/harlune/StreamMixer.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstring>
#include <limits>
#include <vector>

namespace harlune::tools {
namespace {

using Clock = LStreamMixer::LClock;
using std::chrono::milliseconds;

struct Emitted {
    pid_t nKey;
    std::vector<float> arFrames;
    double fRate;
};

class StreamMixerTest : public ::testing::Test {
protected:
    void Make(bool bPerSender) {
        LStreamMixer::LOptions options;
        options.bPerSender = bPerSender;
        options.stallTimeout = milliseconds(500);
        m_pMixer = std::make_unique<LStreamMixer>(
            options,
            [this](pid_t nKey, const float* pf, std::uint64_t n, double fRate) {
                m_arEmitted.push_back({nKey, std::vector<float>(pf, pf + n * 2), fRate});
            },
            [this](const std::string& szNote) { m_arNotes.push_back(szNote); });
    }

    // Pushes frames whose left and right samples are the given values.
    void Push(pid_t nSender, std::vector<float> arFrames, int nMs, double fRate = 44100.0) {
        m_pMixer->Push(nSender, arFrames.data(), arFrames.size() / 2, fRate, m_start + milliseconds(nMs));
    }

    // Everything emitted under nKey, joined.
    std::vector<float> All(pid_t nKey = 0) const {
        std::vector<float> ar;
        for (const Emitted& e : m_arEmitted) {
            if (e.nKey == nKey) {
                ar.insert(ar.end(), e.arFrames.begin(), e.arFrames.end());
            }
        }
        return ar;
    }

    Clock::time_point m_start = Clock::now();
    std::unique_ptr<LStreamMixer> m_pMixer;
    std::vector<Emitted> m_arEmitted;
    std::vector<std::string> m_arNotes;
};

TEST_F(StreamMixerTest, OneSenderPassesBitForBitAsItArrives) {
    Make(false);
    const std::vector<float> ar = {-0.0f, 1.0f, std::numeric_limits<float>::quiet_NaN(), -0.5f};
    Push(10, ar, 0);
    Push(10, ar, 10);
    ASSERT_EQ(m_arEmitted.size(), 2u); // nothing held back
    const std::vector<float> all = All();
    ASSERT_EQ(all.size(), 8u);
    EXPECT_EQ(std::memcmp(all.data(), ar.data(), 16), 0);
    EXPECT_EQ(std::memcmp(all.data() + 4, ar.data(), 16), 0);
    EXPECT_EQ(m_arEmitted[0].fRate, 44100.0);
}

TEST_F(StreamMixerTest, TwoSendersAreSummedFrameByFrameNeverInterleaved) {
    Make(false);
    Push(1, {1, 0, 2, 0}, 0);          // alone: out at once
    Push(2, {0, 10, 0, 20}, 1);        // joins at the newest frame: waits for sender 1
    EXPECT_EQ(All().size(), 4u);
    Push(1, {3, 0, 4, 0, 5, 0}, 11);   // two frames pair with sender 2's
    EXPECT_EQ(All(), (std::vector<float>{1, 0, 2, 0, 3, 10, 4, 20}));
    Push(2, {0, 30}, 12);
    EXPECT_EQ(All(), (std::vector<float>{1, 0, 2, 0, 3, 10, 4, 20, 5, 30}));
    EXPECT_EQ(m_pMixer->Senders(), 2u);
}

TEST_F(StreamMixerTest, ASenderJoiningLaterStartsAtTheNewestFrameOfTheOthers) {
    Make(false);
    Push(1, {1, 0}, 0);
    Push(2, {0, 1}, 1);                // both queued from here on
    Push(1, {2, 0, 3, 0, 4, 0}, 10);   // sender 1 is two frames ahead of sender 2
    Push(3, {100, 100}, 11);           // joins after those two: padded by two frames
    Push(2, {0, 2, 0, 3, 0, 4}, 12);
    EXPECT_EQ(All(), (std::vector<float>{1, 0, 2, 1, 3, 2, 4, 3}));
    Push(1, {5, 0}, 13);               // sender 3's first frame meets sender 1's fifth
    EXPECT_EQ(All(), (std::vector<float>{1, 0, 2, 1, 3, 2, 4, 3, 105, 104}));
}

TEST_F(StreamMixerTest, AStalledSenderIsRetiredAndTheOthersGoOnWithoutLosingAFrame) {
    Make(false);
    Push(1, {1, 0}, 0);
    Push(2, {0, 1, 0, 2}, 1);
    Push(1, {2, 0}, 10);
    EXPECT_EQ(All(), (std::vector<float>{1, 0, 2, 1}));
    // Sender 2 has one frame left and goes quiet; sender 1 plays on.
    Push(1, {3, 0, 4, 0}, 450);
    m_pMixer->Tick(m_start + milliseconds(460)); // not yet stalled: held
    EXPECT_EQ(All().size(), 6u);
    m_pMixer->Tick(m_start + milliseconds(600));  // stalled: sender 1 goes on
    EXPECT_EQ(All(), (std::vector<float>{1, 0, 2, 1, 3, 2, 4, 0}));
    EXPECT_EQ(m_pMixer->Senders(), 1u);
    Push(1, {5, 0}, 610);                       // and flows at once again
    EXPECT_EQ(All().size(), 10u);
}

TEST_F(StreamMixerTest, EverySenderStoppingFlushesWhatIsLeft) {
    Make(false);
    Push(1, {1, 0}, 0);
    Push(2, {0, 1, 0, 2, 0, 3}, 1);
    m_pMixer->Flush();
    EXPECT_EQ(All(), (std::vector<float>{1, 0, 0, 1, 0, 2, 0, 3}));
    EXPECT_EQ(m_pMixer->Senders(), 0u);
    Push(3, {7, 7}, 2000, 48000.0);             // an idle mix takes the next sender's rate
    EXPECT_EQ(m_arEmitted.back().fRate, 48000.0);
}

TEST_F(StreamMixerTest, ASenderAtAnotherRateIsLeftOutAndToldOnce) {
    Make(false);
    Push(1, {1, 1}, 0, 44100.0);
    Push(2, {5, 5}, 1, 48000.0);
    Push(2, {5, 5}, 2, 48000.0);
    Push(1, {2, 2}, 10, 44100.0);
    EXPECT_EQ(All(), (std::vector<float>{1, 1, 2, 2}));
    ASSERT_EQ(m_arNotes.size(), 1u);
    EXPECT_NE(m_arNotes[0].find("48000"), std::string::npos);
}

TEST_F(StreamMixerTest, ASendersRateChangeEndsTheMixAtTheOldRateAndStartsItAtTheNew) {
    Make(false);
    Push(1, {1, 1}, 0, 44100.0);
    Push(2, {2, 2}, 1, 44100.0);                // queued: sender 1 has nothing more yet
    Push(1, {3, 3}, 10, 48000.0);               // sender 1's device now runs at 48000
    ASSERT_GE(m_arEmitted.size(), 3u);
    EXPECT_EQ(m_arEmitted[1].arFrames, (std::vector<float>{2, 2}));
    EXPECT_EQ(m_arEmitted[1].fRate, 44100.0);   // what was queued went out at the old rate
    EXPECT_EQ(m_arEmitted.back().arFrames, (std::vector<float>{3, 3}));
    EXPECT_EQ(m_arEmitted.back().fRate, 48000.0);
}

TEST_F(StreamMixerTest, PerSenderEachSendersFramesGoOutUnderItsOwnKeyAtItsOwnRate) {
    Make(true);
    Push(1, {1, 1}, 0, 44100.0);
    Push(2, {2, 2}, 1, 48000.0);
    Push(1, {3, 3}, 2, 44100.0);
    EXPECT_EQ(All(1), (std::vector<float>{1, 1, 3, 3}));
    EXPECT_EQ(All(2), (std::vector<float>{2, 2}));
    EXPECT_TRUE(All(0).empty());
    EXPECT_EQ(m_arEmitted[1].fRate, 48000.0);
    EXPECT_EQ(m_pMixer->Senders(), 2u);
}

TEST(SenderNames, PathsGetTheNameAndPidBeforeTheExtension) {
    struct Case {
        const char* szPath;
        const char* szExpected;
    };
    const Case cases[] = {
        {"take.wav", "take-aplay-42.wav"},
        {"/tmp/a.b/take.flac", "/tmp/a.b/take-aplay-42.flac"},
        {"/tmp/a.b/take", "/tmp/a.b/take-aplay-42"},
        {"out/.hidden", "out/.hidden-aplay-42"},
        {"x.tar.wav", "x.tar-aplay-42.wav"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(LPathForSender(c.szPath, "aplay", 42), c.szExpected) << c.szPath;
    }
}

TEST(SenderNames, TheProcessNameIsMadeSafeOrReplaced) {
    const std::string szOwn = LSenderName(getpid());
    EXPECT_FALSE(szOwn.empty());
    EXPECT_EQ(szOwn.find('/'), std::string::npos);
    EXPECT_EQ(szOwn.find(' '), std::string::npos);
    // No such process (pids stay below 2^22 on Linux).
    EXPECT_EQ(LSenderName(std::numeric_limits<pid_t>::max()), "pid");
}

} // namespace
} // namespace harlune::tools
