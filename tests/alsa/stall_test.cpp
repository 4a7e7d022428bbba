// The test process as the ALSA application: underruns, drain and the
// "never stop" mode, seen from both ends.
#include "tests/alsa/LAlsaFixture.h"
#include "tools/harlune/TestSignal.h"

#include <alsa/asoundlib.h>

#include <thread>

namespace harlune::test {
namespace {

class AlsaApplicationTest : public LAlsaFixture {
protected:
    AlsaApplicationTest() { m_bNeedsPrograms = false; }

    void TearDown() override {
        if (m_pPcm != nullptr) {
            snd_pcm_close(m_pPcm);
        }
    }

    // Opens "harlune" for float stereo at 44100 with a 4096-frame buffer;
    // bNeverStop sets the stop threshold to the boundary.
    void Open(bool bNeverStop) {
        ASSERT_EQ(snd_pcm_open(&m_pPcm, "harlune", SND_PCM_STREAM_PLAYBACK, 0), 0);
        ASSERT_EQ(snd_pcm_set_params(m_pPcm, SND_PCM_FORMAT_FLOAT_LE, SND_PCM_ACCESS_RW_INTERLEAVED, 2, 44100, 0,
                                     92880 /* microseconds: 4096 frames */),
                  0);
        snd_pcm_sw_params_t* pParams = nullptr;
        snd_pcm_sw_params_alloca(&pParams);
        ASSERT_EQ(snd_pcm_sw_params_current(m_pPcm, pParams), 0);
        snd_pcm_uframes_t nBoundary = 0;
        snd_pcm_sw_params_get_boundary(pParams, &nBoundary);
        snd_pcm_uframes_t nBuffer = 0, nPeriod = 0;
        ASSERT_EQ(snd_pcm_get_params(m_pPcm, &nBuffer, &nPeriod), 0);
        m_nBuffer = nBuffer;
        if (bNeverStop) {
            ASSERT_EQ(snd_pcm_sw_params_set_stop_threshold(m_pPcm, pParams, nBoundary), 0);
        }
        ASSERT_EQ(snd_pcm_sw_params(m_pPcm, pParams), 0);
    }

    // Writes frames [nFirst, nFirst + nFrames) of the test signal.
    void Write(std::uint64_t nFirst, std::uint32_t nFrames) {
        std::vector<float> ar(nFrames * 2);
        tools::LFillTestSignal(ar.data(), nFirst, nFrames, 44100.0);
        std::uint32_t nDone = 0;
        while (nDone < nFrames) {
            const snd_pcm_sframes_t n = snd_pcm_writei(m_pPcm, ar.data() + 2 * nDone, nFrames - nDone);
            ASSERT_GT(n, 0) << snd_strerror(static_cast<int>(n));
            nDone += static_cast<std::uint32_t>(n);
        }
    }

    // The recording without its silent frames, and the longest silent run
    // between two sounding frames.
    static std::vector<float> Sounding(const std::vector<float>& recorded, std::size_t* pnLongestGap) {
        std::vector<float> heard;
        std::size_t nRun = 0;
        *pnLongestGap = 0;
        for (std::size_t n = 0; n < recorded.size() / 2; ++n) {
            if (recorded[2 * n] == 0.0f && recorded[2 * n + 1] == 0.0f) {
                ++nRun;
                continue;
            }
            if (!heard.empty()) {
                *pnLongestGap = std::max(*pnLongestGap, nRun);
            }
            nRun = 0;
            heard.insert(heard.end(), {recorded[2 * n], recorded[2 * n + 1]});
        }
        return heard;
    }

    // The recording holds the signal's first 16384 frames whole and in
    // order, split by a silence that covers most of the application's
    // half-second absence: the device kept its pace.
    void ExpectSignalAroundAGap(const std::vector<float>& recorded) {
        std::size_t nGap = 0;
        const std::vector<float> heard = Sounding(recorded, &nGap);
        std::vector<float> expected(16384 * 2);
        tools::LFillTestSignal(expected.data(), 0, 16384, 44100.0);
        EXPECT_TRUE(StartsWithThenSilence(heard, expected));
        EXPECT_EQ(heard.size(), expected.size());
        EXPECT_GT(nGap, 44100u / 4);
    }

    snd_pcm_t* m_pPcm = nullptr;
    snd_pcm_uframes_t m_nBuffer = 0;
};

TEST_F(AlsaApplicationTest, AnApplicationThatStopsWritingGetsSilenceAndAnUnderrun) {
    StartHelperAndRecorder("out.wav");
    Open(false);
    Write(0, 8192);
    // Stop writing for half a second: the device plays out the buffer,
    // then silence, and ALSA reports the underrun.
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    EXPECT_EQ(snd_pcm_avail_update(m_pPcm), -EPIPE);
    EXPECT_EQ(snd_pcm_state(m_pPcm), SND_PCM_STATE_XRUN);
    ASSERT_EQ(snd_pcm_prepare(m_pPcm), 0);
    Write(8192, 8192);
    ASSERT_EQ(snd_pcm_drain(m_pPcm), 0);
    ExpectSignalAroundAGap(StopAndRead("out.wav"));
}

TEST_F(AlsaApplicationTest, WithTheStopThresholdAtTheBoundaryLateFramesPlayLaterWithoutAnUnderrun) {
    StartHelperAndRecorder("out.wav");
    Open(true);
    Write(0, 8192);
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    EXPECT_EQ(snd_pcm_state(m_pPcm), SND_PCM_STATE_RUNNING);
    EXPECT_EQ(snd_pcm_avail_update(m_pPcm), static_cast<snd_pcm_sframes_t>(m_nBuffer));
    Write(8192, 8192);
    ASSERT_EQ(snd_pcm_drain(m_pPcm), 0);
    ExpectSignalAroundAGap(StopAndRead("out.wav"));
}

TEST_F(AlsaApplicationTest, DrainReturnsOnceEveryWrittenFramePlayed) {
    WriteAsoundrc(200); // no helper here: no reason to wait for a link
    Open(false);
    Write(0, 4096);
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(snd_pcm_drain(m_pPcm), 0);
    const auto elapsed = std::chrono::steady_clock::now() - start;
    // 4096 frames are eight cycles of 512: the last one is taken 7 x 11.6 ms
    // = 81 ms after the first, which came when the full buffer started the
    // stream, just before the drain. A cycle of slack for that moment and a
    // slow (sanitizer) build; a drain that did not wait would take ~0 ms.
    EXPECT_GE(elapsed, std::chrono::milliseconds(81 - 12));
    EXPECT_EQ(snd_pcm_state(m_pPcm), SND_PCM_STATE_SETUP);
    snd_pcm_sframes_t nDelay = -1;
    EXPECT_EQ(snd_pcm_prepare(m_pPcm), 0);
    EXPECT_EQ(snd_pcm_delay(m_pPcm, &nDelay), 0);
    EXPECT_EQ(nDelay, 0);
}

TEST_F(AlsaApplicationTest, CaptureAndUnsupportedParametersAreRefused) {
    WriteAsoundrc(200); // no helper here: no reason to wait for a link
    snd_pcm_t* pCapture = nullptr;
    EXPECT_LT(snd_pcm_open(&pCapture, "harlune", SND_PCM_STREAM_CAPTURE, 0), 0);
    ASSERT_EQ(snd_pcm_open(&m_pPcm, "harlune", SND_PCM_STREAM_PLAYBACK, 0), 0);
    struct Refused {
        snd_pcm_format_t eFormat;
        unsigned int nChannels;
        unsigned int nRate;
    };
    const Refused cases[] = {{SND_PCM_FORMAT_S24_LE, 2, 44100},
                             {SND_PCM_FORMAT_FLOAT_BE, 2, 44100},
                             {SND_PCM_FORMAT_FLOAT_LE, 1, 44100},
                             {SND_PCM_FORMAT_FLOAT_LE, 6, 44100},
                             {SND_PCM_FORMAT_FLOAT_LE, 2, 22050},
                             {SND_PCM_FORMAT_FLOAT_LE, 2, 96000}};
    for (const Refused& c : cases) {
        // Without resampling (the plug layer's job), each must be refused.
        EXPECT_LT(snd_pcm_set_params(m_pPcm, c.eFormat, SND_PCM_ACCESS_RW_INTERLEAVED, c.nChannels, c.nRate, 0,
                                     100000),
                  0)
            << snd_pcm_format_name(c.eFormat) << " " << c.nChannels << " ch " << c.nRate << " Hz";
    }
}

} // namespace
} // namespace harlune::test
