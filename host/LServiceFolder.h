// LServiceFolder.h: the folder where services publish themselves to other
// processes of the same user: the helper service's socket, and the state a
// host publishes about its device (LDevicePublication).
//
// $HARLUNE_XPC_SERVICE_DIR when set, else $XDG_RUNTIME_DIR/harlune-xpc, else
// /tmp/harlune-xpc-UID: the same folder the messaging transport uses. It is
// accepted only as a real folder (not a link) owned by the effective user
// with mode exactly 0700, so no other user can read or replace what is in
// it. LCheckServiceFolder says in words what is wrong when it is refused.
//
// Thread safety: plain functions; the environment is read on each call.
#ifndef HARLUNE_HOST_LSERVICEFOLDER_H
#define HARLUNE_HOST_LSERVICEFOLDER_H

#include <string>

namespace harlune::host {

// The folder's path from the environment; the folder may not exist.
std::string LServiceFolderPath();

// Makes the folder if it is missing (mode 0700; its parent must exist) and
// checks it. True when it is usable; otherwise *pszProblem (when not null)
// names the folder and what is wrong with it, e.g. "/run/user/1000/harlune-xpc
// has mode 0755; it must be 0700 (chmod 700 /run/user/1000/harlune-xpc)".
bool LCheckServiceFolder(std::string* pszProblem);

} // namespace harlune::host

#endif
