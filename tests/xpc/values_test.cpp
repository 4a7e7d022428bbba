// Message values, key descriptors and the list that holds them.
#include "xpc/LXPCBase.h"
#include "xpc/LXPCData.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace harlune::test {
namespace {

std::vector<std::string> Keys(const LList<LXPCDataListable>& list) {
    std::vector<std::string> ar;
    for (const LXPCDataListable* p = list.Head(); p != nullptr; p = p->pNext) {
        ar.push_back(p->szKey);
    }
    return ar;
}

TEST(XPCValuesTest, FreshRecordsAndKeyNames) {
    const LXPCData fresh;
    EXPECT_EQ(fresh.szKey[0], '\0');
    EXPECT_EQ(fresh.eType, kLXPCDataTypeNone);
    EXPECT_EQ(fresh.nValue, -1) << "all bits set, not 0";
    EXPECT_EQ(fresh.nLength, 0u);
    EXPECT_EQ(fresh.dValue, 0.0);
    const LXPCData forDouble("VOLUME_CHANGED", kLXPCDataTypeNone, -1, 0, 0.5);
    EXPECT_EQ(forDouble.nValue, -1);

    const std::string szLong(300, 'k');
    const LXPCData longName(szLong.c_str(), kLXPCDataTypeBool, 1);
    EXPECT_EQ(std::string(longName.szKey), szLong.substr(0, 259));
    LXPCDictionaryKeyListable longKey(szLong.c_str(), kLXPCDataTypeBool);
    EXPECT_EQ(std::strlen(longKey.szKey), 259u);
}

TEST(XPCValuesTest, ListsPrependAndArraysKeepTheirOrder) {
    LList<LXPCDataListable> list;
    for (const char* sz : {"V1", "V2", "V3"}) {
        list.Add(new LXPCDataListable(LXPCData(sz, kLXPCDataTypeInt64, 7)));
    }
    EXPECT_EQ(Keys(list), (std::vector<std::string>{"V3", "V2", "V1"}));
    EXPECT_EQ(list.Count(), 3u);

    unsigned long nCount = 0;
    LXPCData* pArray = LCopyXPCDataArrayFromList(list, &nCount);
    ASSERT_EQ(nCount, 3u);
    EXPECT_STREQ(pArray[0].szKey, "V3");
    EXPECT_STREQ(pArray[2].szKey, "V1");
    EXPECT_EQ(pArray[1].nValue, 7);

    LList<LXPCDataListable> back;
    LCopyXPCDataListFromArray(pArray, nCount, back);
    EXPECT_EQ(Keys(back), (std::vector<std::string>{"V1", "V2", "V3"})) << "an array turned into a list reverses";
    delete[] pArray;

    LList<LXPCDataListable> empty;
    EXPECT_EQ(LCopyXPCDataArrayFromList(empty, &nCount), nullptr);
    EXPECT_EQ(nCount, 0u);
    empty.Clear();
}

struct Counted {
    explicit Counted(std::vector<int>* pLog, int n) : pLog(pLog), n(n) {}
    virtual ~Counted() { pLog->push_back(n); }
    std::vector<int>* pLog;
    int n;
    Counted* pNext = nullptr;
};

TEST(XPCValuesTest, ClearingDeletesEachElementOnceHeadFirst) {
    std::vector<int> log;
    {
        LList<Counted> list;
        for (int i = 1; i <= 3; ++i) {
            list.Add(new Counted(&log, i));
        }
        Counted* pMiddle = list.Head()->pNext;
        list.Remove(pMiddle);
        EXPECT_EQ(log, std::vector<int>{2});
        list.Clear();
        list.Clear();
    }
    EXPECT_EQ(log, (std::vector<int>{2, 3, 1}));
}

class NullNotify : public LXPCEventNotify {
public:
    NullNotify() : LXPCEventNotify(true, true) {}
    void EvConnectionError(long, LXPCErrorType) override {}
    void EvMessageSent(long) override {}
};

TEST(XPCValuesTest, KeyTablesAreAddedUpToTheirEmptyEntry) {
    const LXPCDictionaryKey table[] = {
        {"K1", kLXPCDataTypeBool}, {"K2", kLXPCDataTypeData}, {"K3", kLXPCDataTypeDouble}, {"", kLXPCDataTypeNone},
        {"AFTER_END", kLXPCDataTypeBool},
    };
    const LXPCDictionaryKey empty[] = {{"", kLXPCDataTypeNone}, {"HIDDEN", kLXPCDataTypeBool}};
    NullNotify notify;
    {
        LXPCBase base(&notify);
        base.AddKeys(table, false);
        base.AddKeys(empty, true);
        base.AddKey("K1", kLXPCDataTypeInt64, false); // duplicates are kept
        std::vector<std::string> arSend;
        for (auto* p = base.lSendKeys.Head(); p != nullptr; p = p->pNext) {
            arSend.push_back(p->szKey);
        }
        EXPECT_EQ(arSend, (std::vector<std::string>{"K1", "K3", "K2", "K1"}));
        EXPECT_TRUE(base.lReceiveKeys.IsEmpty());
        EXPECT_TRUE(notify.bEnabled);
    }
    EXPECT_FALSE(notify.bEnabled) << "the base disables its notify when it goes";
}

} // namespace
} // namespace harlune::test
