// LNotifyDataObject: one queued notification, immutable once made and
// shared (by reference count) between the posting thread and the main
// thread: a code, an integer, and optionally its own copy of some bytes.
#pragma once

#include "threads/LRefCounted.h"

#include <cstddef>
#include <cstdint>
#include <memory>

class LNotifyDataObject : public LRefCounted {
public:
  // Makes a notification with one reference owned by the caller. With bytes
  // (pData not null) it copies lengthOrIntData bytes from pData and the
  // integer is their length; without, the integer is lengthOrIntData.
  // Returns null when memory for the copy runs out.
  static LNotifyDataObject* Create(unsigned nCode, const void* pData, unsigned long lengthOrIntData);

  unsigned GetCode() const { return nCode; }
  uint64_t GetIntData() const { return qwIntData; }
  // The copy of the bytes, or null when the notification carries none.
  const void* GetData() const { return bHasData ? static_cast<const void*>(pBytes ? pBytes.get() : kEmpty) : nullptr; }
  std::size_t GetDataLength() const { return bHasData ? static_cast<std::size_t>(qwIntData) : 0; }

private:
  LNotifyDataObject() = default;

  static constexpr unsigned char kEmpty[1] = {0};  // the bytes of an empty copy

  unsigned nCode = 0;                         // the notification's number, chosen by the sender
  uint64_t qwIntData = 0;                     // the integer, or the length of the bytes
  std::unique_ptr<unsigned char[]> pBytes;    // the copy, null when none or empty
  bool bHasData = false;                      // bytes were given (possibly none of them)
};
