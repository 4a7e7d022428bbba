/*
 * LText.h: the library's text: growable strings, UTF-8/UTF-16/UTF-32
 * conversions and helpers, code pages, the platform-string bridge, and small
 * string utilities. Include this one header.
 */
#ifndef HARLUNE_TEXT_LTEXT_H
#define HARLUNE_TEXT_LTEXT_H

#include <text/LAnsi.h>
#include <text/LCharacterHelpers.h>
#include <text/LCodePages.h>
#include <text/LCommandLineArgumentStringExpander.h>
#include <text/LIconvConvert.h>
#include <text/LPlatformString.h>
#include <text/LRandomPassword.h>
#include <text/LWindowsCodePage.h>
#include <text/LStringLongTemplate.h>
#include <text/LStringUtilities.h>
#include <text/LUTF8Helpers.h>
#include <text/LUTFConversions.h>

#endif
