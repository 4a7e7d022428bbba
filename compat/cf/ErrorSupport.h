/*
 * ErrorSupport.h (private): making the CFErrors that failing calls hand back
 * through their CFErrorRef * arguments.
 */
#ifndef HARLUNE_COMPAT_CF_ERROR_SUPPORT_H
#define HARLUNE_COMPAT_CF_ERROR_SUPPORT_H

#include <CoreFoundation/CFError.h>

#include <string>

namespace harlune::cf {

/*
 * If out is not NULL, stores a new error in the domain with the code and
 * the description (and the file path, when not empty) in its user info.
 */
void reportError(CFErrorRef *out, CFErrorDomain domain, CFIndex code, const std::string &description,
                 const std::string &filePath = std::string());

}  // namespace harlune::cf

#endif
