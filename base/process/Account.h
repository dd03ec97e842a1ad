// Account.h: the accounts the process runs under.
//
//   AnsiStr user = Account::GetUserName();        // "alice"
#pragma once

#include "base/core/Export.h"
#include "base/text/AnsiStr.h"

namespace OrvGuiBase {

class ORVGUI_API Account {
 public:
  // GetUserName: the account name of the process's effective user, looked up once in the
  // password database; empty (last error set) when the user has no entry.
  static AnsiStr GetUserName();
};

}  // namespace OrvGuiBase
