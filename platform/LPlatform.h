// LPlatform.h: the library's platform utilities: application start-up, the
// user and the environment, and process and application queries.
#ifndef HARLUNE_PLATFORM_LPLATFORM_H
#define HARLUNE_PLATFORM_LPLATFORM_H

#include "platform/LAppInit.h"
#include "platform/LApplicationBundle.h"
#include "platform/LCommandLine.h"
#include "platform/LEnvironment.h"
#include "platform/LProcessList.h"
#include "platform/LUser.h"

#endif
