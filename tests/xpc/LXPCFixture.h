// LXPCFixture.h: tests of the messaging framework over real connections:
// a private service folder per case, and the key table both sides use.
#ifndef HARLUNE_TESTS_XPC_LXPCFIXTURE_H
#define HARLUNE_TESTS_XPC_LXPCFIXTURE_H

#include "tests/support/LTempFolder.h"
#include "tests/xpc/LRecordingNotify.h"
#include "xpc/LXPCClientManager.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstdlib>

namespace harlune::test {

inline const LXPCDictionaryKey kTestKeys[] = {
    {"PING", kLXPCDataTypeInt64},     {"PONG", kLXPCDataTypeInt64},     {"BYTES", kLXPCDataTypeData},
    {"LEVEL", kLXPCDataTypeDouble},   {"ENDPOINT", kLXPCDataTypeValue}, {"", kLXPCDataTypeNone},
};

// Destroys every client when it goes out of scope: declare it after the
// notify objects a test makes, so the clients go before their notifies.
struct LDestroyClientsAtScopeEnd {
    ~LDestroyClientsAtScopeEnd() { LXPCClientManager::DestroyAll(); }
};

class LXPCFixture : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_FALSE(m_folder.Path().empty());
        m_szServices = m_folder / "services";
        ASSERT_EQ(mkdir(m_szServices.c_str(), 0700), 0);
        setenv("HARLUNE_XPC_SERVICE_DIR", m_szServices.c_str(), 1);
    }
    void TearDown() override { LXPCClientManager::DestroyAll(); }

    // A client with the test keys both ways.
    int NewClient(LRecordingNotify* pNotify) {
        const int id = LXPCClientManager::Create(pNotify);
        LXPCClientManager::AddKeys(id, kTestKeys, false);
        LXPCClientManager::AddKeys(id, kTestKeys, true);
        return id;
    }

    static LList<LXPCDataListable>& One(LList<LXPCDataListable>& list, const char* szKey, long nValue,
                                        unsigned long nLength = 0, double d = 0) {
        list.Add(new LXPCDataListable(LXPCData(szKey, kLXPCDataTypeNone, nValue, nLength, d)));
        return list;
    }

    LTempFolder m_folder;
    std::string m_szServices;
};

} // namespace harlune::test

#endif
