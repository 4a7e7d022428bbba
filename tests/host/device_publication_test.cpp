// The device's state published to other processes, and the service folder
// it lives in.
#include "host/LDevicePublication.h"
#include "host/LServiceFolder.h"
#include "tests/support/LTempFolder.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

namespace harlune::test {
namespace {

class DevicePublicationTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(mkdir((m_folder / "services").c_str(), 0700), 0);
        setenv("HARLUNE_XPC_SERVICE_DIR", (m_folder / "services").c_str(), 1);
    }
    LTempFolder m_folder;
};

TEST_F(DevicePublicationTest, ReadersSeeTheRateAndItsChanges) {
    host::LDevicePublisher publisher;
    std::string szError;
    ASSERT_TRUE(publisher.Publish(44100, &szError)) << szError;
    host::LPublishedDevice device;
    ASSERT_TRUE(device.Open(getpid()));
    EXPECT_EQ(device.SampleRate(), 44100.0);
    EXPECT_EQ(device.RateChanges(), 0u);
    EXPECT_FALSE(device.IsRunning());
    publisher.SetSampleRate(48000);
    publisher.SetSampleRate(48000); // the same rate again is no change
    publisher.SetRunning(true);
    EXPECT_EQ(device.SampleRate(), 48000.0);
    EXPECT_EQ(device.RateChanges(), 1u);
    EXPECT_TRUE(device.IsRunning());
    publisher.Unpublish();
    host::LPublishedDevice gone;
    EXPECT_FALSE(gone.Open(getpid())) << "an unpublished device cannot be found";
}

TEST_F(DevicePublicationTest, WhatIsNotAPublicationIsNotRead) {
    struct Case {
        const char* szName;
        std::string szContent;
    };
    const Case arCases[] = {
        {"too short", "HRLNDEV1"},
        {"wrong magic", std::string("NOTADEV1") + std::string(24, '\0')},
    };
    for (const Case& c : arCases) {
        {
            std::ofstream file(host::LDevicePublicationPath(getpid()), std::ios::binary | std::ios::trunc);
            file << c.szContent;
        }
        host::LPublishedDevice device;
        EXPECT_FALSE(device.Open(getpid())) << c.szName;
        EXPECT_EQ(device.SampleRate(), 0.0) << c.szName;
    }
    host::LPublishedDevice device;
    EXPECT_FALSE(device.Open(0));
    EXPECT_FALSE(device.Open(-5));
}

TEST_F(DevicePublicationTest, ADeadHostsPublicationIsRemovedByTheNext) {
    const pid_t nChild = fork();
    ASSERT_GE(nChild, 0);
    if (nChild == 0) {
        host::LDevicePublisher publisher;
        publisher.Publish(48000, nullptr);
        _exit(0); // killed, in effect: no unpublishing
    }
    int nStatus = 0;
    ASSERT_EQ(waitpid(nChild, &nStatus, 0), nChild);
    struct stat st {};
    ASSERT_EQ(stat(host::LDevicePublicationPath(nChild).c_str(), &st), 0) << "left behind";
    host::LDevicePublisher publisher;
    ASSERT_TRUE(publisher.Publish(44100, nullptr));
    EXPECT_NE(stat(host::LDevicePublicationPath(nChild).c_str(), &st), 0) << "removed by the next publisher";
}

TEST_F(DevicePublicationTest, ARefusedServiceFolderIsNamedWithWhatIsWrong) {
    struct Case {
        const char* szName; // the folder, in the test's folder
        // Makes the folder wrong; false when this user cannot (the case is skipped).
        bool (*prepare)(const std::string& szPath);
        const char* szWords;
    };
    const Case arCases[] = {
        {"mode", [](const std::string& sz) { return mkdir(sz.c_str(), 0700) == 0 && chmod(sz.c_str(), 0755) == 0; },
         "has mode 0755; it must be 0700 (chmod 700 "},
        {"link", [](const std::string& sz) { return symlink("/tmp", sz.c_str()) == 0; }, "is a symbolic link"},
        {"file", [](const std::string& sz) { return static_cast<bool>(std::ofstream(sz) << "x"); }, "is not a folder"},
        {"owner",
         [](const std::string& sz) {
             // Only a privileged user can give a folder away.
             return mkdir(sz.c_str(), 0700) == 0 && chown(sz.c_str(), geteuid() + 1, static_cast<gid_t>(-1)) == 0;
         },
         "belongs to user"},
        {"absent/services", [](const std::string&) { return true; }, "cannot be made"},
    };
    for (const Case& c : arCases) {
        const std::string szFolder = m_folder / c.szName;
        if (!c.prepare(szFolder)) {
            continue;
        }
        setenv("HARLUNE_XPC_SERVICE_DIR", szFolder.c_str(), 1);
        std::string szProblem;
        EXPECT_FALSE(host::LCheckServiceFolder(&szProblem)) << c.szName;
        EXPECT_NE(szProblem.find(szFolder), std::string::npos) << szProblem;
        EXPECT_NE(szProblem.find(c.szWords), std::string::npos) << c.szName << ": " << szProblem;
        host::LDevicePublisher publisher;
        std::string szError;
        EXPECT_FALSE(publisher.Publish(44100, &szError)) << c.szName;
    }
}

TEST_F(DevicePublicationTest, TheFolderFollowsTheEnvironment) {
    unsetenv("HARLUNE_XPC_SERVICE_DIR");
    setenv("XDG_RUNTIME_DIR", "/run/user/4242", 1);
    EXPECT_EQ(host::LServiceFolderPath(), "/run/user/4242/harlune-xpc");
    unsetenv("XDG_RUNTIME_DIR");
    EXPECT_EQ(host::LServiceFolderPath(), "/tmp/harlune-xpc-" + std::to_string(geteuid()));
}

} // namespace
} // namespace harlune::test
