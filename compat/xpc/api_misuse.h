// API misuse that Apple's platform answers with a crash (over-resuming a
// connection, releasing the last reference to a suspended one, embedding a
// connection or an error in a message). Builds without NDEBUG abort with a
// message, so such bugs show here as they would on the home platform; other
// builds ignore the call, and the caller goes on as documented in its
// header.

#pragma once

#ifndef NDEBUG
#include <cstdio>
#include <cstdlib>
#define HARLUNE_XPC_MISUSE(message)                                 \
  do {                                                              \
    std::fprintf(stderr, "XPC API misuse: %s\n", (message));        \
    std::abort();                                                   \
  } while (0)
#else
#define HARLUNE_XPC_MISUSE(message) \
  do {                              \
  } while (0)
#endif
