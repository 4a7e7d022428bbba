// xpc objects: each value type through its dictionary setter and getter,
// getters asked for the wrong type, the immortal objects, replies to
// messages made here, equality, and the misuse that traps on the platform.

#include "xpc_test_support.h"

#include <xpc/xpc.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace {

using harlune::test::PrintTo;

const uuid_t kUuid = {0xde, 0xad, 0xbe, 0xef, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};

struct TypedCase {
  const char* name;
  xpc_type_t type;
  std::function<void(xpc_object_t, const char*)> set;
  // True when the dictionary's getter of this type reads back what was set.
  std::function<bool(xpc_object_t, const char*)> reads_back;
};

const TypedCase kTypes[] = {
    {"bool", XPC_TYPE_BOOL, [](xpc_object_t d, const char* k) { xpc_dictionary_set_bool(d, k, true); },
     [](xpc_object_t d, const char* k) { return xpc_dictionary_get_bool(d, k); }},
    {"int64", XPC_TYPE_INT64, [](xpc_object_t d, const char* k) { xpc_dictionary_set_int64(d, k, -7); },
     [](xpc_object_t d, const char* k) { return xpc_dictionary_get_int64(d, k) == -7; }},
    {"uint64", XPC_TYPE_UINT64, [](xpc_object_t d, const char* k) { xpc_dictionary_set_uint64(d, k, 1ull << 63); },
     [](xpc_object_t d, const char* k) { return xpc_dictionary_get_uint64(d, k) == 1ull << 63; }},
    {"double", XPC_TYPE_DOUBLE, [](xpc_object_t d, const char* k) { xpc_dictionary_set_double(d, k, 0.5); },
     [](xpc_object_t d, const char* k) { return xpc_dictionary_get_double(d, k) == 0.5; }},
    {"date", XPC_TYPE_DATE, [](xpc_object_t d, const char* k) { xpc_dictionary_set_date(d, k, 1234); },
     [](xpc_object_t d, const char* k) { return xpc_dictionary_get_date(d, k) == 1234; }},
    {"data", XPC_TYPE_DATA, [](xpc_object_t d, const char* k) { xpc_dictionary_set_data(d, k, "abc", 3); },
     [](xpc_object_t d, const char* k) {
       size_t length = 0;
       const void* bytes = xpc_dictionary_get_data(d, k, &length);
       return bytes != nullptr && length == 3 && std::memcmp(bytes, "abc", 3) == 0;
     }},
    {"string", XPC_TYPE_STRING, [](xpc_object_t d, const char* k) { xpc_dictionary_set_string(d, k, "text"); },
     [](xpc_object_t d, const char* k) {
       const char* text = xpc_dictionary_get_string(d, k);
       return text != nullptr && std::strcmp(text, "text") == 0;
     }},
    {"uuid", XPC_TYPE_UUID, [](xpc_object_t d, const char* k) { xpc_dictionary_set_uuid(d, k, kUuid); },
     [](xpc_object_t d, const char* k) {
       const uint8_t* bytes = xpc_dictionary_get_uuid(d, k);
       return bytes != nullptr && std::memcmp(bytes, kUuid, 16) == 0;
     }},
    {"fd", XPC_TYPE_FD, [](xpc_object_t d, const char* k) { xpc_dictionary_set_fd(d, k, STDERR_FILENO); },
     [](xpc_object_t d, const char* k) {
       const int fd = xpc_dictionary_dup_fd(d, k);
       const bool valid = fd >= 0 && fd != STDERR_FILENO && fcntl(fd, F_GETFD) == FD_CLOEXEC;
       if (fd >= 0) {
         close(fd);
       }
       return valid;
     }},
    {"dictionary", XPC_TYPE_DICTIONARY,
     [](xpc_object_t d, const char* k) {
       xpc_object_t inner = xpc_dictionary_create(nullptr, nullptr, 0);
       xpc_dictionary_set_int64(inner, "x", 1);
       xpc_dictionary_set_value(d, k, inner);
       xpc_release(inner);
     },
     [](xpc_object_t d, const char* k) {
       return xpc_dictionary_get_int64(xpc_dictionary_get_dictionary(d, k), "x") == 1;
     }},
};

class XpcValueTypes : public testing::TestWithParam<TypedCase> {};

TEST_P(XpcValueTypes, ReadBackByItsOwnGetterOnly) {
  const TypedCase& set_as = GetParam();
  xpc_object_t dictionary = xpc_dictionary_create(nullptr, nullptr, 0);
  set_as.set(dictionary, "key");
  EXPECT_EQ(xpc_get_type(xpc_dictionary_get_value(dictionary, "key")), set_as.type);
  EXPECT_TRUE(set_as.reads_back(dictionary, "key"));
  // Every other getter sees nothing under the key, and none sees a missing
  // key.
  for (const TypedCase& other : kTypes) {
    EXPECT_FALSE(other.reads_back(dictionary, "missing")) << other.name;
    if (std::strcmp(other.name, set_as.name) != 0) {
      EXPECT_FALSE(other.reads_back(dictionary, "key")) << other.name << " read a " << set_as.name;
    }
  }
  char* description = xpc_copy_description(dictionary);
  EXPECT_NE(std::strstr(description, "\"key\""), nullptr) << description;
  std::free(description);
  xpc_release(dictionary);
}

INSTANTIATE_TEST_SUITE_P(Types, XpcValueTypes, testing::ValuesIn(kTypes));

TEST(XpcObjects, ErrorsAreImmortalDictionariesWithADescription) {
  for (xpc_object_t error :
       {XPC_ERROR_CONNECTION_INVALID, XPC_ERROR_CONNECTION_INTERRUPTED, XPC_ERROR_TERMINATION_IMMINENT}) {
    EXPECT_EQ(xpc_get_type(error), XPC_TYPE_ERROR);
    EXPECT_EQ(xpc_retain(error), error);
    for (int i = 0; i < 3; ++i) {
      xpc_release(error);
    }
    const char* description = xpc_dictionary_get_string(error, XPC_ERROR_KEY_DESCRIPTION);
    ASSERT_NE(description, nullptr);
    EXPECT_GT(std::strlen(description), 0u);
    EXPECT_EQ(xpc_dictionary_get_count(error), 1u);
    EXPECT_EQ(xpc_dictionary_get_remote_connection(error), nullptr);
    EXPECT_EQ(xpc_dictionary_create_reply(error), nullptr);
  }
  EXPECT_STRNE(xpc_dictionary_get_string(XPC_ERROR_CONNECTION_INVALID, XPC_ERROR_KEY_DESCRIPTION),
               xpc_dictionary_get_string(XPC_ERROR_CONNECTION_INTERRUPTED, XPC_ERROR_KEY_DESCRIPTION));
}

TEST(XpcObjects, BooleansAreTheTwoSharedObjects) {
  EXPECT_EQ(xpc_bool_create(true), XPC_BOOL_TRUE);
  EXPECT_EQ(xpc_bool_create(false), XPC_BOOL_FALSE);
  EXPECT_TRUE(xpc_bool_get_value(XPC_BOOL_TRUE));
  EXPECT_FALSE(xpc_bool_get_value(XPC_BOOL_FALSE));
  xpc_release(XPC_BOOL_TRUE);
  EXPECT_TRUE(xpc_bool_get_value(XPC_BOOL_TRUE));
}

TEST(XpcObjects, DataCopiesAndReadsBackAtEverySize) {
  for (size_t size : {size_t{0}, size_t{1}, size_t{64 * 1024 - 1}, size_t{64 * 1024}, size_t{1 << 20}}) {
    std::vector<uint8_t> bytes(size);
    for (size_t i = 0; i < size; ++i) {
      bytes[i] = static_cast<uint8_t>(i * 7);
    }
    xpc_object_t data = xpc_data_create(bytes.data(), bytes.size());
    std::fill(bytes.begin(), bytes.end(), 0);  // The object holds a copy.
    ASSERT_NE(data, nullptr);
    ASSERT_NE(xpc_data_get_bytes_ptr(data), nullptr);
    ASSERT_EQ(xpc_data_get_length(data), size);
    const auto* held = static_cast<const uint8_t*>(xpc_data_get_bytes_ptr(data));
    for (size_t i = 0; i < size; i += 4093) {
      EXPECT_EQ(held[i], static_cast<uint8_t>(i * 7)) << size;
    }
    uint8_t tail[4] = {};
    const size_t offset = size > 2 ? size - 2 : 0;
    EXPECT_EQ(xpc_data_get_bytes(data, tail, offset, sizeof tail), std::min(sizeof tail, size - offset));
    xpc_release(data);
  }
}

TEST(XpcObjects, EqualityFollowsContent) {
  xpc_object_t a = xpc_dictionary_create(nullptr, nullptr, 0);
  xpc_object_t b = xpc_dictionary_create(nullptr, nullptr, 0);
  for (xpc_object_t d : {a, b}) {
    xpc_dictionary_set_string(d, "s", "same");
    xpc_dictionary_set_double(d, "d", 1.5);
  }
  EXPECT_TRUE(xpc_equal(a, b));
  xpc_dictionary_set_int64(b, "extra", 1);
  EXPECT_FALSE(xpc_equal(a, b));
  xpc_dictionary_set_value(b, "extra", nullptr);  // Removes it.
  EXPECT_TRUE(xpc_equal(a, b));
  EXPECT_EQ(xpc_dictionary_get_count(b), 2u);
  xpc_object_t five = xpc_int64_create(5);
  xpc_object_t other_five = xpc_int64_create(5);
  xpc_object_t unsigned_five = xpc_uint64_create(5);
  EXPECT_TRUE(xpc_equal(five, other_five));
  EXPECT_EQ(xpc_hash(five), xpc_hash(other_five));
  EXPECT_FALSE(xpc_equal(five, unsigned_five));
  for (xpc_object_t object : {a, b, five, other_five, unsigned_five}) {
    xpc_release(object);
  }
}

TEST(XpcObjects, MessagesMadeHereHaveNoReplyAndNoConnection) {
  xpc_object_t message = xpc_dictionary_create(nullptr, nullptr, 0);
  EXPECT_EQ(xpc_dictionary_create_reply(message), nullptr);
  EXPECT_EQ(xpc_dictionary_get_remote_connection(message), nullptr);
  xpc_dictionary_set_value(message, "self", message);  // Refused: it could never be freed.
  EXPECT_EQ(xpc_dictionary_get_count(message), 0u);
  xpc_release(message);
}

TEST(XpcObjects, ConnectionsAreMadeOnlyFromWhatTheyNeed) {
  EXPECT_EQ(xpc_connection_create_mach_service(nullptr, nullptr, 0), nullptr);
  xpc_object_t not_an_endpoint = xpc_int64_create(1);
  EXPECT_EQ(xpc_connection_create_from_endpoint(static_cast<xpc_endpoint_t>(not_an_endpoint)), nullptr);
  xpc_release(not_an_endpoint);
  xpc_connection_t client = xpc_connection_create_mach_service("some.service", nullptr, 0);
  EXPECT_EQ(xpc_endpoint_create(client), nullptr) << "only listeners have endpoints";
  EXPECT_STREQ(xpc_connection_get_name(client), "some.service");
  EXPECT_EQ(xpc_connection_get_pid(client), 0) << "not connected yet";
  // Never resumed: may be released as it is.
  xpc_release(client);
}

#ifndef NDEBUG
struct MisuseCase {
  const char* name;
  void (*misuse)();
};

const MisuseCase kMisuse[] = {
    {"over_resume",
     [] {
       xpc_connection_t listener = xpc_connection_create(nullptr, nullptr);
       xpc_connection_set_event_handler(listener, ^(xpc_object_t) {
       });
       xpc_connection_resume(listener);
       xpc_connection_resume(listener);
     }},
    {"release_suspended",
     [] {
       xpc_connection_t listener = xpc_connection_create(nullptr, nullptr);
       xpc_connection_set_event_handler(listener, ^(xpc_object_t) {
       });
       xpc_connection_resume(listener);
       xpc_connection_suspend(listener);
       xpc_release(listener);
     }},
    {"connection_in_a_message",
     [] {
       xpc_connection_t listener = xpc_connection_create(nullptr, nullptr);
       xpc_connection_set_event_handler(listener, ^(xpc_object_t) {
       });
       xpc_connection_resume(listener);
       xpc_endpoint_t endpoint = xpc_endpoint_create(listener);
       xpc_connection_t client = xpc_connection_create_from_endpoint(endpoint);
       xpc_connection_resume(client);
       xpc_object_t message = xpc_dictionary_create(nullptr, nullptr, 0);
       xpc_dictionary_set_value(message, "connection", client);
       xpc_connection_send_message(client, message);
     }},
};

class XpcMisuse : public testing::TestWithParam<MisuseCase> {};

TEST_P(XpcMisuse, AbortsInDebugBuilds) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(GetParam().misuse(), "XPC API misuse");
}

INSTANTIATE_TEST_SUITE_P(Cases, XpcMisuse, testing::ValuesIn(kMisuse));
#endif

}  // namespace
