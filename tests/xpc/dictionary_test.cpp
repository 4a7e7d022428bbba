// Value lists written into real XPC dictionaries and read back, typed by
// key lists.
#include "xpc/LXPCDictionary.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <string>

namespace harlune::test {
namespace {

class Keys {
public:
    explicit Keys(std::initializer_list<std::pair<const char*, LXPCDataType>> keys) {
        // Added in order, so the list reads reversed, as from a table.
        for (const auto& [szName, eType] : keys) {
            list.Add(new LXPCDictionaryKeyListable(szName, eType));
        }
    }
    LList<LXPCDictionaryKeyListable> list;
};

long Word(const void* p) { return static_cast<long>(reinterpret_cast<std::intptr_t>(p)); }

struct Dictionary {
    xpc_object_t d = xpc_dictionary_create(nullptr, nullptr, 0);
    ~Dictionary() { xpc_release(d); }
};

TEST(XPCDictionaryTest, EveryTypeRoundTripsThroughADictionary) {
    const unsigned char uuid[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    const char bytes[] = "\x00\x01\x02audio\xff";
    xpc_object_t object = xpc_string_create("an object");
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    Keys keys({{"B", kLXPCDataTypeBool},
               {"I", kLXPCDataTypeInt64},
               {"U", kLXPCDataTypeUInt64},
               {"D", kLXPCDataTypeDouble},
               {"T", kLXPCDataTypeDate},
               {"DATA", kLXPCDataTypeData},
               {"ID", kLXPCDataTypeUUID},
               {"S", kLXPCDataTypeString},
               {"FD", kLXPCDataTypeFd},
               {"V", kLXPCDataTypeValue}});
    LList<LXPCDataListable> values;
    values.Add(new LXPCDataListable(LXPCData("B", kLXPCDataTypeNone, 5)));
    values.Add(new LXPCDataListable(LXPCData("I", kLXPCDataTypeNone, -42)));
    values.Add(new LXPCDataListable(LXPCData("U", kLXPCDataTypeNone, static_cast<long>(0xFFFFFFFFFFFFFFF0ull))));
    values.Add(new LXPCDataListable(LXPCData("D", kLXPCDataTypeNone, -1, 0, 0.970142)));
    values.Add(new LXPCDataListable(LXPCData("T", kLXPCDataTypeNone, 1700000000000000000l)));
    values.Add(new LXPCDataListable(LXPCData("DATA", kLXPCDataTypeNone, Word(bytes), sizeof bytes)));
    values.Add(new LXPCDataListable(LXPCData("ID", kLXPCDataTypeNone, Word(uuid))));
    values.Add(new LXPCDataListable(LXPCData("S", kLXPCDataTypeNone, Word("text"))));
    values.Add(new LXPCDataListable(LXPCData("FD", kLXPCDataTypeNone, fds[0])));
    values.Add(new LXPCDataListable(LXPCData("V", kLXPCDataTypeNone, Word(object))));
    Dictionary dictionary;
    SetXPCDictionary(dictionary.d, keys.list, values);
    EXPECT_EQ(xpc_dictionary_get_count(dictionary.d), 10u);

    LList<LXPCDataListable> decoded;
    GetXPCDictionary(dictionary.d, keys.list, decoded);
    std::vector<std::string> arOrder;
    for (const LXPCDataListable* p = decoded.Head(); p != nullptr; p = p->pNext) {
        arOrder.push_back(p->szKey);
        const std::string szKey = p->szKey;
        SCOPED_TRACE(szKey);
        if (szKey == "B") EXPECT_EQ(p->nValue, 1);
        if (szKey == "I") EXPECT_EQ(p->nValue, -42);
        if (szKey == "U") EXPECT_EQ(static_cast<unsigned long>(p->nValue), 0xFFFFFFFFFFFFFFF0ull);
        if (szKey == "D") {
            EXPECT_EQ(p->dValue, 0.970142);
            EXPECT_EQ(p->nValue, -1);
        }
        if (szKey == "T") EXPECT_EQ(p->nValue, 1700000000000000000l);
        if (szKey == "DATA") {
            ASSERT_EQ(p->nLength, sizeof bytes);
            EXPECT_EQ(std::memcmp(reinterpret_cast<const void*>(p->nValue), bytes, sizeof bytes), 0);
            EXPECT_NE(p->nValue, Word(bytes)) << "the bytes were copied into the message";
        }
        if (szKey == "ID") EXPECT_EQ(std::memcmp(reinterpret_cast<const void*>(p->nValue), uuid, 16), 0);
        if (szKey == "S") EXPECT_STREQ(reinterpret_cast<const char*>(p->nValue), "text");
        if (szKey == "FD") {
            // A new descriptor of the same pipe, which the receiver closes.
            ASSERT_GE(p->nValue, 0);
            EXPECT_NE(p->nValue, fds[0]);
            EXPECT_EQ(write(fds[1], "x", 1), 1);
            char c = 0;
            EXPECT_EQ(read(static_cast<int>(p->nValue), &c, 1), 1);
            EXPECT_EQ(c, 'x');
            close(static_cast<int>(p->nValue));
        }
        if (szKey == "V") EXPECT_STREQ(xpc_string_get_string_ptr(reinterpret_cast<xpc_object_t>(p->nValue)), "an object");
    }
    // Decoded in table order: the key list is reversed, and decoding reverses again.
    EXPECT_EQ(arOrder, (std::vector<std::string>{"B", "I", "U", "D", "T", "DATA", "ID", "S", "FD", "V"}));
    close(fds[0]);
    close(fds[1]);
    xpc_release(object);
}

TEST(XPCDictionaryTest, OnlyNamesOfTheKeyListTravelTypedByTheKey) {
    Keys keys({{"AUDIO_DATA", kLXPCDataTypeData}, {"OFF", kLXPCDataTypeNone}, {"WEIRD", static_cast<LXPCDataType>(77)}});
    const char bytes[4] = {1, 2, 3, 4};
    LList<LXPCDataListable> values;
    // The value's own type says bool; the key says data, and the key wins.
    values.Add(new LXPCDataListable(LXPCData("AUDIO_DATA", kLXPCDataTypeBool, Word(bytes), 4)));
    values.Add(new LXPCDataListable(LXPCData("audio_data", kLXPCDataTypeData, Word(bytes), 4)));
    values.Add(new LXPCDataListable(LXPCData("UNKNOWN", kLXPCDataTypeData, Word(bytes), 4)));
    values.Add(new LXPCDataListable(LXPCData("OFF", kLXPCDataTypeBool, 1)));
    values.Add(new LXPCDataListable(LXPCData("WEIRD", kLXPCDataTypeBool, 1)));
    Dictionary dictionary;
    SetXPCDictionary(dictionary.d, keys.list, values);
    EXPECT_EQ(xpc_dictionary_get_count(dictionary.d), 1u);
    std::size_t nLength = 0;
    const void* p = xpc_dictionary_get_data(dictionary.d, "AUDIO_DATA", &nLength);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(nLength, 4u);

    // A peer's value under a key of type None is never read.
    xpc_dictionary_set_bool(dictionary.d, "OFF", true);
    xpc_dictionary_set_bool(dictionary.d, "EXTRA", true);
    LList<LXPCDataListable> decoded;
    GetXPCDictionary(dictionary.d, keys.list, decoded);
    ASSERT_EQ(decoded.Count(), 1u);
    EXPECT_STREQ(decoded.Head()->szKey, "AUDIO_DATA");
}

TEST(XPCDictionaryTest, EmptyListsAndMissingKeysYieldNothing) {
    Keys keys({{"A", kLXPCDataTypeBool}});
    LList<LXPCDataListable> none;
    Dictionary dictionary;
    SetXPCDictionary(dictionary.d, keys.list, none);
    EXPECT_EQ(xpc_dictionary_get_count(dictionary.d), 0u);
    LList<LXPCDataListable> decoded;
    GetXPCDictionary(dictionary.d, keys.list, decoded);
    EXPECT_TRUE(decoded.IsEmpty());
    Keys noKeys({});
    xpc_dictionary_set_bool(dictionary.d, "A", true);
    GetXPCDictionary(dictionary.d, noKeys.list, decoded);
    EXPECT_TRUE(decoded.IsEmpty());
}

// Values whose word can only be an address or an object, left fresh (-1)
// or cleared (0): nothing may be read through them, whatever the length.
struct NoPayloadCase {
    LXPCDataType eType;
    long nValue;
    unsigned long nLength;
};

class XPCDictionaryNoPayload : public ::testing::TestWithParam<NoPayloadCase> {};

TEST_P(XPCDictionaryNoPayload, IsSkippedWithoutReadingThroughIt) {
    Keys keys({{"P", GetParam().eType}, {"N", kLXPCDataTypeInt64}});
    LList<LXPCDataListable> values;
    values.Add(new LXPCDataListable(LXPCData("P", kLXPCDataTypeNone, GetParam().nValue, GetParam().nLength)));
    values.Add(new LXPCDataListable(LXPCData("N", kLXPCDataTypeNone, 7)));
    Dictionary dictionary;
    SetXPCDictionary(dictionary.d, keys.list, values);
    EXPECT_EQ(xpc_dictionary_get_value(dictionary.d, "P"), nullptr);
    EXPECT_EQ(xpc_dictionary_get_int64(dictionary.d, "N"), 7) << "the rest of the list still travels";
}

INSTANTIATE_TEST_SUITE_P(AddressTypes, XPCDictionaryNoPayload,
                         ::testing::Values(NoPayloadCase{kLXPCDataTypeData, -1, 4096},
                                           NoPayloadCase{kLXPCDataTypeData, 0, 4096},
                                           NoPayloadCase{kLXPCDataTypeData, -1, 0},
                                           NoPayloadCase{kLXPCDataTypeUUID, -1, 0},
                                           NoPayloadCase{kLXPCDataTypeUUID, 0, 0},
                                           NoPayloadCase{kLXPCDataTypeString, -1, 0},
                                           NoPayloadCase{kLXPCDataTypeString, 0, 0},
                                           NoPayloadCase{kLXPCDataTypeValue, -1, 0},
                                           NoPayloadCase{kLXPCDataTypeValue, 0, 0}));

TEST(XPCDictionaryTest, DuplicateNamesKeepTheLaterValueAndDuplicateKeysDecodeTwice) {
    Keys keys({{"N", kLXPCDataTypeInt64}, {"N", kLXPCDataTypeInt64}});
    LList<LXPCDataListable> values;
    values.Add(new LXPCDataListable(LXPCData("N", kLXPCDataTypeNone, 1)));
    values.Add(new LXPCDataListable(LXPCData("N", kLXPCDataTypeNone, 2))); // head: written first
    Dictionary dictionary;
    SetXPCDictionary(dictionary.d, keys.list, values);
    EXPECT_EQ(xpc_dictionary_get_int64(dictionary.d, "N"), 1) << "the later value in list order stays";
    LList<LXPCDataListable> decoded;
    GetXPCDictionary(dictionary.d, keys.list, decoded);
    EXPECT_EQ(decoded.Count(), 2u);
}

TEST(XPCDictionaryTest, ValuesOfTheWrongWireTypeDecodeWithoutHarm) {
    // A hostile or confused peer: every key present, each with a value of
    // another type than the key says.
    Keys keys({{"B", kLXPCDataTypeBool},
               {"DATA", kLXPCDataTypeData},
               {"ID", kLXPCDataTypeUUID},
               {"S", kLXPCDataTypeString},
               {"FD", kLXPCDataTypeFd},
               {"D", kLXPCDataTypeDouble}});
    Dictionary dictionary;
    xpc_dictionary_set_string(dictionary.d, "B", "yes");
    xpc_dictionary_set_int64(dictionary.d, "DATA", 4096);
    xpc_dictionary_set_bool(dictionary.d, "ID", true);
    xpc_dictionary_set_double(dictionary.d, "S", 1.5);
    xpc_dictionary_set_string(dictionary.d, "FD", "not a descriptor");
    xpc_dictionary_set_data(dictionary.d, "D", "12345678", 8);
    LList<LXPCDataListable> decoded;
    GetXPCDictionary(dictionary.d, keys.list, decoded);
    EXPECT_EQ(decoded.Count(), 6u);
    for (const LXPCDataListable* p = decoded.Head(); p != nullptr; p = p->pNext) {
        const std::string szKey = p->szKey;
        if (szKey == "DATA" || szKey == "ID" || szKey == "S") {
            EXPECT_EQ(p->nValue, 0) << szKey << ": no payload of that type";
        }
        if (szKey == "FD") {
            EXPECT_EQ(p->nValue, -1);
        }
    }
}

} // namespace
} // namespace harlune::test
