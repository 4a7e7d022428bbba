// The IO entries through the bundle's interface table.
#include "tests/support/LDriverFixture.h"

#include <mach/mach_time.h>

#include <cstring>
#include <vector>

namespace harlune::test {
namespace {

constexpr OSStatus kBadObject = static_cast<OSStatus>(FourCC("!obj"));
constexpr OSStatus kIllegal = static_cast<OSStatus>(FourCC("nope"));

class IOEngineTest : public LDriverFixture {
protected:
    OSStatus Start() { return m_pEntries->StartIO(m_driver, 3, 1); }
    OSStatus Stop() { return m_pEntries->StopIO(m_driver, 3, 1); }
    OSStatus ZeroTimeStamp(Float64* pfSample, UInt64* pqwHost) {
        UInt64 qwSeed = 0;
        const OSStatus status = m_pEntries->GetZeroTimeStamp(m_driver, 3, 1, pfSample, pqwHost, &qwSeed);
        EXPECT_EQ(qwSeed, status == 0 ? 1u : 0u);
        return status;
    }
};

TEST_F(IOEngineTest, StartsAndStopsAreCounted) {
    EXPECT_EQ(Stop(), kIllegal) << "stop before any start";
    EXPECT_EQ(Start(), 0);
    EXPECT_EQ(Start(), 0);
    EXPECT_EQ(Stop(), 0);
    EXPECT_EQ(Stop(), 0);
    EXPECT_EQ(Stop(), kIllegal);
    EXPECT_EQ(Start(), 0) << "a stopped device starts again";
}

TEST_F(IOEngineTest, EveryIOEntryRefusesAWrongDriverOrDevice) {
    int nOther = 0;
    auto* otherDriver = reinterpret_cast<AudioServerPlugInDriverRef>(&nOther);
    AudioServerPlugInIOCycleInfo info = {};
    std::vector<Float32> buffer(1024, 0.5f);
    Float64 fSample = -1;
    UInt64 qwHost = 7, qwSeed = 7;
    Boolean bWillDo = 9, bInPlace = 9;
    for (auto [driver, dwDevice] : {std::pair{otherDriver, 3u}, std::pair{m_driver, 2u}, std::pair{m_driver, 8u},
                                    std::pair{m_driver, 0u}, std::pair{m_driver, 4u}}) {
        SCOPED_TRACE(dwDevice);
        const UInt32 rite = kAudioServerPlugInIOOperationWriteMix;
        EXPECT_EQ(m_pEntries->StartIO(driver, dwDevice, 1), kBadObject);
        EXPECT_EQ(m_pEntries->StopIO(driver, dwDevice, 1), kBadObject);
        EXPECT_EQ(m_pEntries->GetZeroTimeStamp(driver, dwDevice, 1, &fSample, &qwHost, &qwSeed), kBadObject);
        EXPECT_EQ(m_pEntries->WillDoIOOperation(driver, dwDevice, 1, rite, &bWillDo, &bInPlace), kBadObject);
        EXPECT_EQ(m_pEntries->BeginIOOperation(driver, dwDevice, 1, rite, 512, &info), kBadObject);
        EXPECT_EQ(m_pEntries->DoIOOperation(driver, dwDevice, 8, 1, rite, 512, &info, buffer.data(), nullptr),
                  kBadObject);
        EXPECT_EQ(m_pEntries->EndIOOperation(driver, dwDevice, 1, rite, 512, &info), kBadObject);
    }
    EXPECT_EQ(fSample, -1.0);
    EXPECT_EQ(qwHost, 7u);
    EXPECT_EQ(qwSeed, 7u);
    EXPECT_EQ(bWillDo, 9);
    EXPECT_EQ(bInPlace, 9);
    EXPECT_EQ(Stop(), kIllegal) << "no refused start was counted";
}

TEST_F(IOEngineTest, WillDoOnlyTheWriteMixAndTheReadInputAlwaysInPlace) {
    const struct {
        UInt32 dwOperation;
        bool bWillDo;
    } cases[] = {
        {kAudioServerPlugInIOOperationWriteMix, true},      {kAudioServerPlugInIOOperationReadInput, true},
        {kAudioServerPlugInIOOperationThread, false},       {kAudioServerPlugInIOOperationCycle, false},
        {kAudioServerPlugInIOOperationConvertInput, false}, {kAudioServerPlugInIOOperationProcessInput, false},
        {kAudioServerPlugInIOOperationProcessOutput, false}, {kAudioServerPlugInIOOperationMixOutput, false},
        {kAudioServerPlugInIOOperationProcessMix, false},   {kAudioServerPlugInIOOperationConvertMix, false},
        {0, false},
    };
    for (const auto& c : cases) {
        Boolean bWillDo = 9, bInPlace = 9;
        EXPECT_EQ(m_pEntries->WillDoIOOperation(m_driver, 3, 1, c.dwOperation, &bWillDo, &bInPlace), 0);
        EXPECT_EQ(bWillDo, c.bWillDo ? 1 : 0) << c.dwOperation;
        EXPECT_EQ(bInPlace, 1) << c.dwOperation;
    }
    // Either out pointer may be null.
    Boolean bWillDo = 0;
    EXPECT_EQ(m_pEntries->WillDoIOOperation(m_driver, 3, 1, kAudioServerPlugInIOOperationWriteMix, &bWillDo, nullptr),
              0);
    EXPECT_EQ(bWillDo, 1);
    EXPECT_EQ(m_pEntries->WillDoIOOperation(m_driver, 3, 1, kAudioServerPlugInIOOperationWriteMix, nullptr, nullptr),
              0);
}

TEST_F(IOEngineTest, DoIOOperationTakesOnlyTheOutputStreamAndLeavesTheBufferAlone) {
    ASSERT_EQ(Start(), 0);
    AudioServerPlugInIOCycleInfo info = {};
    std::vector<Float32> buffer(1024);
    for (std::size_t i = 0; i < buffer.size(); ++i) {
        buffer[i] = static_cast<Float32>(i) * 0.001f;
    }
    const std::vector<Float32> original = buffer;
    const UInt32 rite = kAudioServerPlugInIOOperationWriteMix;
    for (AudioObjectID dwStream : {0u, 3u, 7u, 9u, 12u}) {
        EXPECT_EQ(m_pEntries->DoIOOperation(m_driver, 3, dwStream, 1, rite, 512, &info, buffer.data(), nullptr),
                  kBadObject)
            << dwStream;
    }
    // No recording application is connected: the buffer is dropped, not an error.
    EXPECT_EQ(m_pEntries->DoIOOperation(m_driver, 3, 8, 1, rite, 512, &info, buffer.data(), nullptr), 0);
    EXPECT_EQ(m_pEntries->DoIOOperation(m_driver, 3, 8, 1, kAudioServerPlugInIOOperationReadInput, 512, &info,
                                        buffer.data(), nullptr),
              0);
    EXPECT_EQ(m_pEntries->DoIOOperation(m_driver, 3, 8, 1, rite, 0, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(buffer, original);
    EXPECT_EQ(m_pEntries->BeginIOOperation(m_driver, 3, 1, rite, 512, &info), 0);
    EXPECT_EQ(m_pEntries->EndIOOperation(m_driver, 3, 1, rite, 512, &info), 0);
}

TEST_F(IOEngineTest, TimeLineStartsAtTheAnchorOfEachStartFromZero) {
    for (int nRun = 0; nRun < 2; ++nRun) {
        SCOPED_TRACE(nRun);
        const UInt64 qwBefore = mach_absolute_time();
        ASSERT_EQ(Start(), 0);
        const UInt64 qwAfter = mach_absolute_time();
        Float64 fSample = -1;
        UInt64 qwHost = 0;
        ASSERT_EQ(ZeroTimeStamp(&fSample, &qwHost), 0);
        // A period is about 371 ms at 44100 Hz; the first stamp is the anchor
        // itself unless this thread was descheduled for that long.
        EXPECT_EQ(fSample, 0.0);
        EXPECT_GE(qwHost, qwBefore);
        EXPECT_LE(qwHost, qwAfter);
        // A second start only counts: the time line keeps its anchor.
        ASSERT_EQ(Start(), 0);
        Float64 fSample2 = -1;
        UInt64 qwHost2 = 0;
        ASSERT_EQ(ZeroTimeStamp(&fSample2, &qwHost2), 0);
        EXPECT_EQ(qwHost2, qwHost);
        ASSERT_EQ(Stop(), 0);
        ASSERT_EQ(Stop(), 0);
    }
}

TEST_F(IOEngineTest, ZeroTimeStampRefusesNullOutPointers) {
    ASSERT_EQ(Start(), 0);
    Float64 fSample = 0;
    UInt64 qwHost = 0, qwSeed = 0;
    EXPECT_EQ(m_pEntries->GetZeroTimeStamp(m_driver, 3, 1, nullptr, &qwHost, &qwSeed), kIllegal);
    EXPECT_EQ(m_pEntries->GetZeroTimeStamp(m_driver, 3, 1, &fSample, nullptr, &qwSeed), kIllegal);
    EXPECT_EQ(m_pEntries->GetZeroTimeStamp(m_driver, 3, 1, &fSample, &qwHost, nullptr), kIllegal);
}

} // namespace
} // namespace harlune::test
