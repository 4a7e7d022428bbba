/*
 * PropertyListXML.h (private): the XML property-list reader and writer
 * behind CFPropertyList.h. Both are reentrant and keep no state between
 * calls.
 */
#ifndef HARLUNE_COMPAT_CF_PROPERTY_LIST_XML_H
#define HARLUNE_COMPAT_CF_PROPERTY_LIST_XML_H

#include <CoreFoundation/CFPropertyList.h>

#include <string>
#include <string_view>

namespace harlune::cf {

/* Containers nested deeper than this are refused, when reading and writing. */
constexpr unsigned kMaxPropertyListDepth = 512;

/*
 * Parses an XML property list. options is a CFPropertyListMutabilityOptions
 * value. Returns a new object, or NULL with a reason naming the line.
 */
CFPropertyListRef parseXMLPropertyList(std::string_view xml, CFOptionFlags options, std::string &error);

/* Serialises a property list as XML; false with a reason for invalid input. */
bool writeXMLPropertyList(CFPropertyListRef plist, std::string &out, std::string &error);

}  // namespace harlune::cf

#endif
