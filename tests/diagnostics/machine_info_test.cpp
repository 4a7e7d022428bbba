// Processor and display controllers from fixture files laid out as /proc
// and /sys, with and without a pci.ids database.
#include "diagnostics/LDiagnostics.h"
#include "tests/support/LTempFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

using harlune::test::LTempFolder;

TEST(MachineInfo, CpuBrandFromCpuinfo) {
    struct Case {
        const char* szText;
        const char* szExpected;
    } arCases[] = {
        {"processor\t: 0\nvendor_id\t: X\nmodel name\t: AMD EPYC 7B13\nflags\t: a\n", "AMD EPYC 7B13"},
        {"processor\t: 0\nmodel\t\t: 1\n", ""},
        {"model name:Tight\n", "Tight"},
        {"", ""},
    };
    for (const auto& c : arCases) {
        char sz[kLMaxPath] = "junk";
        LMachineReadCPUDescription(c.szText, sz);
        EXPECT_STREQ(sz, c.szExpected) << c.szText;
    }
}

void Device(const LTempFolder& tmp, const char* szAddress, const char* szClass, const char* szVendor,
            const char* szDevice) {
    const std::string szFolder = tmp / (std::string("devices/") + szAddress);
    std::filesystem::create_directories(szFolder);
    std::ofstream(szFolder + "/class") << szClass << "\n";
    std::ofstream(szFolder + "/vendor") << szVendor << "\n";
    std::ofstream(szFolder + "/device") << szDevice << "\n";
}

std::vector<std::string> Names(const LStringList& l) {
    std::vector<std::string> ar;
    for (size_t i = 0; i < l.GetCount(); ++i) ar.emplace_back(l.Get(i));
    return ar;
}

TEST(MachineInfo, DisplayControllersInAddressOrder) {
    LTempFolder tmp;
    Device(tmp, "0000:03:00.0", "0x030000", "0x1002", "0x73bf");
    Device(tmp, "0000:00:02.0", "0x030000", "0x8086", "0x9a49");
    Device(tmp, "0000:00:1f.3", "0x040300", "0x8086", "0xa0c8"); // audio: not a display
    std::ofstream(tmp / "pci.ids") << "# comment\n"
                                      "1002  Advanced Micro Devices, Inc. [AMD/ATI]\n"
                                      "\t73bf  Navi 21 [Radeon RX 6800/6800 XT]\n"
                                      "\t\t1002 0e3a  subsystem line\n"
                                      "8086  Intel Corporation\n"
                                      "\t9a48  Something else\n";
    LStringList l;
    l.Add("stale");
    LMachineReadGPUDescriptions((tmp / "devices").c_str(), (tmp / "pci.ids").c_str(), l);
    EXPECT_EQ(Names(l), (std::vector<std::string>{"8086:9a49", "Navi 21 [Radeon RX 6800/6800 XT]"}));
    LMachineReadGPUDescriptions((tmp / "devices").c_str(), nullptr, l);
    EXPECT_EQ(Names(l), (std::vector<std::string>{"8086:9a49", "1002:73bf"}));
    LMachineReadGPUDescriptions((tmp / "none").c_str(), nullptr, l);
    EXPECT_EQ(l.GetCount(), 0u);
}

} // namespace
