/*
 * CoreFoundation.h: the whole CoreFoundation API available to the product.
 * See each header for the abstraction it covers, its thread safety and where
 * its behaviour on Linux differs from Apple's.
 */
#ifndef HARLUNE_COMPAT_COREFOUNDATION_H
#define HARLUNE_COMPAT_COREFOUNDATION_H

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBundle.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFError.h>
#include <CoreFoundation/CFLocale.h>
#include <CoreFoundation/CFNumber.h>
#include <CoreFoundation/CFPreferences.h>
#include <CoreFoundation/CFPlugInCOM.h>
#include <CoreFoundation/CFPropertyList.h>
#include <CoreFoundation/CFRunLoop.h>
#include <CoreFoundation/CFString.h>
#include <CoreFoundation/CFURL.h>
#include <CoreFoundation/CFURLBookmark.h>
#include <CoreFoundation/CFUUID.h>

#endif
