// harlune record refuses, before touching the device, a file name the
// library's name rules refuse, and says why with the library's message.
#include "tools/harlune/Commands.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(RecordFileName, RefusedNamesGiveTheNameRuleMessage) {
    const struct {
        std::string szPath;
        const char* szMessage;
    } kCases[] = {
        {"take:1.wav", "File name may not contain characters : / \\"},
        {"/tmp/.hidden.wav", "File name may not start with a period"},
        {"tab\there.wav", "File name may not contain control characters"},
        {"/tmp/", "File name is blank. Please provide a file name."},
    };
    for (const auto& c : kCases) {
        testing::internal::CaptureStderr();
        const int nResult = harlune::tools::LRunRecordCommand({c.szPath});
        const std::string szErr = testing::internal::GetCapturedStderr();
        EXPECT_EQ(nResult, 2) << c.szPath;
        EXPECT_NE(szErr.find(c.szMessage), std::string::npos) << szErr;
    }
}

} // namespace
