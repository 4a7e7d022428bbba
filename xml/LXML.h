// LXML.h: the library's XML: the element tree with its reader and writers,
// documents, and documents in files; the settings stores, property lists
// and the sandbox bookmarks.
#ifndef HARLUNE_XML_LXML_H
#define HARLUNE_XML_LXML_H

#include "xml/LPlist.h"
#include "xml/LSandboxBookmarks.h"
#include "xml/LSandboxPaths.h"
#include "xml/LSettingCipher.h"
#include "xml/LSettings.h"
#include "xml/LUserSettings.h"
#include "xml/LXMLDocument.h"
#include "xml/LXMLElement.h"
#include "xml/LXMLFile.h"
#include "xml/LXMLLoader.h"

#endif
