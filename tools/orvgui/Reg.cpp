// Reg.cpp: `orvgui reg`, the registry from the command line, after the Windows `reg` tool:
// query, add, delete, copy, export and import, on the registry below KRS_REGISTRY.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "base/core/ErrorMessage.h"
#include "base/core/LastError.h"
#include "base/registry/RegistryText.h"
#include "tools/orvgui/Command.h"

namespace OrvGuiTool {

namespace {

using namespace OrvGuiBase;

const char kUsage[] =
    "usage: orvgui reg query KEY [/v NAME | /ve] [/s]\n"
    "       orvgui reg add KEY [/v NAME | /ve] [/t TYPE] [/d DATA] [/s SEPARATOR] [/f]\n"
    "       orvgui reg delete KEY [/v NAME | /ve | /va] [/f]\n"
    "       orvgui reg copy SRC DST [/s] [/f]\n"
    "       orvgui reg export KEY FILE [/y]\n"
    "       orvgui reg import FILE\n"
    "\n"
    "Reads and changes the registry of this machine: the directory tree below KRS_REGISTRY\n"
    "(default /etc/quelvarn/settings), the current user's hive named by KRS_USER (default: the\n"
    "account name, else 'unknown'). So 'KRS_REGISTRY=/tmp/r orvgui reg ...' works on a private\n"
    "tree. Switches may be written /x or -x, in any letter case.\n"
    "\n"
    "KEY is ROOT\\SUBKEY\\...; ROOT is HKEY_CLASSES_ROOT (HKCR), HKEY_CURRENT_USER (HKCU),\n"
    "HKEY_LOCAL_MACHINE (HKLM), HKEY_USERS (HKU), or HKEY_COMPANY, HKEY_ENVIRONMENT or\n"
    "HKEY_APPLICATION, which lie under HKEY_CURRENT_USER\\Software\\Quelvarn. A key or value name\n"
    "that would leave its hive ('..', '.', a NUL, a '/' in a value name) is refused.\n"
    "\n"
    "query   prints the key's full name on a line of its own, then one line per value:\n"
    "        four spaces, the name ('(Default)' for the default value), four spaces, REG_SZ,\n"
    "        four spaces, the text (a NUL byte shown as \\0). The default value comes first,\n"
    "        then the others sorted by name. /v NAME prints that value only, /ve the default\n"
    "        value only. /s goes on with every sub-key, depth first, sorted by name, each after\n"
    "        an empty line in the same form (with /v or /ve: only the keys that hold the value).\n"
    "add     makes the key (with its parents) and, with /v, /ve, /t or /d, writes the value\n"
    "        (/v NAME; /ve or neither: the default value) in the registry's form:\n"
    "          /t REG_SZ        DATA as it is (the default type)\n"
    "          /t REG_MULTI_SZ  DATA split at SEPARATOR (/s; default the two characters \\0),\n"
    "                           stored with one NUL byte between the strings\n"
    "          /t REG_DWORD     a number 0..4294967295, decimal or 0x-hexadecimal, stored in\n"
    "                           decimal; REG_QWORD the same up to 18446744073709551615\n"
    "          /t REG_BINARY    pairs of hexadecimal digits, stored as Base16 text\n"
    "        Without /d: an empty text, an empty list, no bytes, 0. An existing value is\n"
    "        replaced with /f; without /f orvgui asks first (see below).\n"
    "delete  removes the key with everything below it; /v NAME removes one value, /ve the\n"
    "        default value, /va every value of the key (its sub-keys stay). Asks unless /f.\n"
    "        A root key itself cannot be removed.\n"
    "copy    copies the values of SRC to DST (made when missing); /s copies the sub-keys\n"
    "        with everything below them too. Values are copied byte for byte. When DST exists\n"
    "        already orvgui asks before it overwrites values there, unless /f.\n"
    "export  writes KEY with everything below it to FILE in the registry editor's text format\n"
    "        ('Windows Registry Editor Version 5.00'; every value as a quoted string). Asks\n"
    "        before it replaces an existing FILE, unless /y. A failed export leaves no FILE.\n"
    "import  applies FILE (that format, UTF-8 or UTF-16 with a byte-order mark): [KEY] sections\n"
    "        with \"name\"=\"text\", @=..., dword:, hex: and hex(n): values, \"name\"=- deletions,\n"
    "        [-KEY] removals and HKEY_...\\KEY=text lines. Lines it cannot use are skipped.\n"
    "\n"
    "Questions ('... (Yes/No)? ') go to standard output and the answer is read from standard\n"
    "input; an answer that starts with y or Y is yes, anything else (and no input) cancels.\n"
    "add, delete, copy, export and import print 'The operation completed successfully.' when\n"
    "done. Errors go to standard error as 'orvgui reg: <message>', among them\n"
    "  orvgui reg: the key 'KEY' does not exist\n"
    "  orvgui reg: the value 'NAME' does not exist in 'KEY'\n"
    "  orvgui reg: the operation was cancelled\n"
    "\n"
    "Exit status: 0 success; 1 when a key, value or file does not exist or cannot be read or\n"
    "written, or the operation was cancelled; 2 for a usage error (an unknown operation or\n"
    "switch, a missing or extra argument, an unknown root, a refused name, bad DATA).\n";

constexpr const char* kSub = "reg";

// Args: the positional arguments and switches of one operation.
struct Args {
  std::vector<std::string> positional;
  bool v = false, ve = false, va = false, s = false, f = false, y = false, t = false, d = false;
  std::string name, type = "REG_SZ", data, separator = "\\0";
  bool separatorGiven = false;
};

bool IsSwitch(const char* arg, const char* name) {
  return (arg[0] == '/' || arg[0] == '-') && strcasecmp(arg + 1, name) == 0;
}

// Parse: the switches allowed for the operation (a space-separated list); 2 for a usage error.
int Parse(int argc, char** argv, const std::string& allowed, Args& args) {
  auto permitted = [&](const char* name) { return (" " + allowed + " ").find(std::string(" ") + name + " ") != std::string::npos; };
  for (int i = 2; i < argc; ++i) {
    const char* arg = argv[i];
    const char* withValue[] = {"v", "t", "d"};
    bool taken = false;
    for (const char* name : withValue) {
      if (!IsSwitch(arg, name) || !permitted(name)) continue;
      if (i + 1 >= argc) return UsageError(kSub, "%s needs a value", arg);
      const std::string value = argv[++i];
      if (strcmp(name, "v") == 0) args.v = true, args.name = value;
      if (strcmp(name, "t") == 0) args.t = true, args.type = value;
      if (strcmp(name, "d") == 0) args.d = true, args.data = value;
      taken = true;
    }
    if (taken) continue;
    if (IsSwitch(arg, "s") && permitted("s") && allowed.find("sep") != std::string::npos) {
      if (i + 1 >= argc) return UsageError(kSub, "%s needs a value", arg);
      args.separator = argv[++i];
      args.separatorGiven = true;
      continue;
    }
    struct Flag {
      const char* name;
      bool* flag;
    } flags[] = {{"ve", &args.ve}, {"va", &args.va}, {"s", &args.s}, {"f", &args.f}, {"y", &args.y}};
    for (const Flag& flag : flags)
      if (!taken && IsSwitch(arg, flag.name) && permitted(flag.name)) *flag.flag = taken = true;
    if (taken) continue;
    if ((arg[0] == '/' || arg[0] == '-') && arg[1] != 0 && strchr(arg + 1, '/') == nullptr && strchr(arg, '.') == nullptr)
      return UsageError(kSub, "unknown switch '%s'", arg);
    args.positional.push_back(arg);
  }
  if (static_cast<int>(args.v) + static_cast<int>(args.ve) + static_cast<int>(args.va) > 1)
    return UsageError(kSub, "/v, /ve and /va exclude each other");
  return 0;
}

std::string ErrorText() { return GetErrorMessage(GetLastError(), nullptr, false).GetStr(); }

// OpenKey: the Registry of a KEY argument; 2 (usage) for an unknown root or a refused name.
int CheckKey(const std::string& text, Registry& reg, RegKey& key) {
  RegPath path(text.c_str());
  if (!path.IsValid()) return UsageError(kSub, "'%s' does not start with a known root key", text.c_str());
  if (!key.Locate(path)) return UsageError(kSub, "invalid key name '%s': %s", text.c_str(), ErrorText().c_str());
  reg.SetPath(key.GetName());
  return 0;
}

bool Confirm(const std::string& question) {
  printf("%s (Yes/No)? ", question.c_str());
  fflush(stdout);
  char answer[64] = {};
  const bool yes = fgets(answer, sizeof answer, stdin) != nullptr && (answer[0] == 'y' || answer[0] == 'Y');
  if (!yes) printf("\n");
  return yes;
}

int Cancelled() { return Fail(kSub, "the operation was cancelled"); }

int Done() {
  printf("The operation completed successfully.\n");
  return kExitSuccess;
}

std::string Show(const AnsiStr& text) {
  std::string out;
  for (uint32_t i = 0; i < text.GetLength(); ++i) {
    if (text.GetStr()[i] == 0) out += "\\0";
    else out += text.GetStr()[i];
  }
  return out;
}

std::vector<std::string> Sorted(const Store<AnsiStr>& names) {
  std::vector<std::string> out;
  for (uint32_t i = 0; i < names.GetCount(); ++i) out.emplace_back(names.Get(i).GetStr(), names.Get(i).GetLength());
  std::sort(out.begin(), out.end());
  return out;
}

// PrintKey: one key's block (its name and its values, or only the value asked for); whether
// anything was printed. first: no empty line before it.
bool PrintKey(const Registry& reg, const Args& args, bool& first) {
  std::vector<std::string> names;
  if (args.v || args.ve) {
    const std::string wanted = args.v ? args.name : "";
    if (!reg.IsValueName(AnsiStr(wanted.c_str()))) return false;
    names.push_back(wanted);
  } else {
    Store<AnsiStr> all;
    reg.GetValueNames(all);
    names = Sorted(all);  // the empty name (the default value) sorts first
  }
  if (!first) printf("\n");
  first = false;
  printf("%s\n", reg.GetPath().GetStr());
  for (const std::string& name : names) {
    AnsiStr text;
    if (!reg.Read("", AnsiStr(name.c_str()), text)) continue;
    printf("    %s    REG_SZ    %s\n", name.empty() ? "(Default)" : name.c_str(), Show(text).c_str());
  }
  return true;
}

bool QueryTree(const Registry& reg, const Args& args, bool& first) {
  bool any = PrintKey(reg, args, first);
  if (!args.s) return any;
  Store<AnsiStr> keys;
  reg.GetKeys(keys);
  for (const std::string& sub : Sorted(keys)) {
    Registry child(reg);
    child.Append(AnsiStr(sub.c_str()));
    any = QueryTree(child, args, first) || any;
  }
  return any;
}

int Query(int argc, char** argv) {
  Args args;
  if (int rc = Parse(argc, argv, "v ve s", args)) return rc;
  if (args.positional.size() != 1) return UsageError(kSub, "query takes one KEY");
  Registry reg;
  RegKey key;
  if (int rc = CheckKey(args.positional[0], reg, key)) return rc;
  if (!reg.IsKey()) return Fail(kSub, "the key '%s' does not exist", args.positional[0].c_str());
  bool first = true;
  if (!QueryTree(reg, args, first))
    return Fail(kSub, "the value '%s' does not exist in '%s'", args.v ? args.name.c_str() : "(Default)",
                args.positional[0].c_str());
  return kExitSuccess;
}

// ParseNumber: decimal or 0x-hexadecimal digits up to max.
bool ParseNumber(const std::string& text, unsigned long long max, unsigned long long& value) {
  const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  const std::string digits = hex ? text.substr(2) : text;
  if (digits.empty()) return false;
  value = 0;
  for (char c : digits) {
    int digit = c >= '0' && c <= '9' ? c - '0' : -1;
    if (hex && digit < 0) digit = c >= 'a' && c <= 'f' ? c - 'a' + 10 : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
    const unsigned base = hex ? 16 : 10;
    if (digit < 0 || value > (max - static_cast<unsigned>(digit)) / base) return false;
    value = value * base + static_cast<unsigned>(digit);
  }
  return true;
}

int Add(int argc, char** argv) {
  Args args;
  if (int rc = Parse(argc, argv, "v ve t d s sep f", args)) return rc;
  if (args.positional.size() != 1) return UsageError(kSub, "add takes one KEY");
  Registry reg;
  RegKey key;
  if (int rc = CheckKey(args.positional[0], reg, key)) return rc;
  const bool value = args.v || args.ve || args.t || args.d;
  const std::string name = args.v ? args.name : "";
  const AnsiStr valueName(name.c_str());
  std::string type = args.type;
  std::transform(type.begin(), type.end(), type.begin(), [](char c) { return static_cast<char>(toupper(c)); });
  if (args.separatorGiven && type != "REG_MULTI_SZ") return UsageError(kSub, "/s SEPARATOR is for REG_MULTI_SZ");
  if (args.separator.empty()) return UsageError(kSub, "the separator may not be empty");
  // Check the data before anything is made.
  unsigned long long number = 0;
  std::vector<uint8_t> bytes;
  if (type == "REG_DWORD" || type == "REG_QWORD") {
    const unsigned long long max = type == "REG_DWORD" ? 0xFFFFFFFFull : ~0ull;
    if (args.d && !ParseNumber(args.data, max, number))
      return UsageError(kSub, "'%s' is not a %s number", args.data.c_str(), type.c_str());
  } else if (type == "REG_BINARY") {
    if (args.data.size() % 2 != 0) return UsageError(kSub, "'%s' is not pairs of hexadecimal digits", args.data.c_str());
    for (size_t i = 0; i < args.data.size(); i += 2) {
      unsigned long long byte = 0;
      if (!ParseNumber("0x" + args.data.substr(i, 2), 255, byte))
        return UsageError(kSub, "'%s' is not pairs of hexadecimal digits", args.data.c_str());
      bytes.push_back(static_cast<uint8_t>(byte));
    }
  } else if (type != "REG_SZ" && type != "REG_MULTI_SZ") {
    return UsageError(kSub, "unknown type '%s'", args.type.c_str());
  }
  if (!reg.CreateKey()) return Fail(kSub, "cannot make the key '%s': %s", args.positional[0].c_str(), ErrorText().c_str());
  if (!value) return Done();
  if (!args.f && reg.IsValueName(valueName) &&
      !Confirm("Value " + (name.empty() ? std::string("(Default)") : name) + " exists, overwrite"))
    return Cancelled();
  bool ok = false;
  if (type == "REG_SZ") {
    ok = reg.Write("", valueName, AnsiStr(args.data.c_str(), static_cast<uint32_t>(args.data.size())));
  } else if (type == "REG_MULTI_SZ") {
    Store<AnsiStr> list;
    if (!args.data.empty()) {
      size_t at = 0;
      for (;;) {
        const size_t next = args.data.find(args.separator, at);
        list.Append(AnsiStr(args.data.substr(at, next - at).c_str()));
        if (next == std::string::npos) break;
        at = next + args.separator.size();
      }
    }
    ok = reg.Write("", valueName, list);
  } else if (type == "REG_BINARY") {
    ok = reg.Write("", valueName, bytes.data(), static_cast<uint32_t>(bytes.size()));
  } else {
    ok = reg.Write("", valueName, number);
  }
  if (!ok) return Fail(kSub, "cannot write the value: %s", ErrorText().c_str());
  return Done();
}

int Delete(int argc, char** argv) {
  Args args;
  if (int rc = Parse(argc, argv, "v ve va f", args)) return rc;
  if (args.positional.size() != 1) return UsageError(kSub, "delete takes one KEY");
  const std::string& text = args.positional[0];
  Registry reg;
  RegKey key;
  if (int rc = CheckKey(text, reg, key)) return rc;
  if (!reg.IsKey()) return Fail(kSub, "the key '%s' does not exist", text.c_str());
  if (args.v || args.ve) {
    const AnsiStr name(args.v ? args.name.c_str() : "");
    const char* shown = args.v ? args.name.c_str() : "(Default)";
    if (!reg.IsValueName(name)) return Fail(kSub, "the value '%s' does not exist in '%s'", shown, text.c_str());
    if (!args.f && !Confirm(std::string("Delete the registry value ") + shown)) return Cancelled();
    if (!reg.Delete(name)) return Fail(kSub, "cannot delete the value '%s': %s", shown, ErrorText().c_str());
    return Done();
  }
  if (args.va) {
    if (!args.f && !Confirm("Delete all values under the registry key " + text)) return Cancelled();
    Store<AnsiStr> names;
    reg.GetValueNames(names);
    for (uint32_t i = 0; i < names.GetCount(); ++i)
      if (!reg.Delete(names.Get(i)) && GetLastError() != ENOENT)
        return Fail(kSub, "cannot delete the value '%s': %s", names.Get(i).GetStr(), ErrorText().c_str());
    return Done();
  }
  if (key.GetRelativePath().IsEmpty()) return Fail(kSub, "the root key '%s' cannot be deleted", text.c_str());
  if (!args.f && !Confirm("Permanently delete the registry key " + text)) return Cancelled();
  if (!reg.RemoveKey()) return Fail(kSub, "cannot delete the key '%s': %s", text.c_str(), ErrorText().c_str());
  return Done();
}

int Copy(int argc, char** argv) {
  Args args;
  if (int rc = Parse(argc, argv, "s f", args)) return rc;
  if (args.positional.size() != 2) return UsageError(kSub, "copy takes SRC and DST");
  Registry from, to;
  RegKey fromKey, toKey;
  if (int rc = CheckKey(args.positional[0], from, fromKey)) return rc;
  if (int rc = CheckKey(args.positional[1], to, toKey)) return rc;
  if (!from.IsKey()) return Fail(kSub, "the key '%s' does not exist", args.positional[0].c_str());
  if (!args.f && to.IsKey() && !Confirm("Overwrite existing values under " + args.positional[1])) return Cancelled();
  if (args.s) {
    if (!RegCopyKey(nullptr, fromKey.GetName().GetStr(), toKey.GetName().GetStr(), false, true, false, false))
      return Fail(kSub, "cannot copy '%s': %s", args.positional[0].c_str(), ErrorText().c_str());
    return Done();
  }
  if (!to.CreateKey()) return Fail(kSub, "cannot make the key '%s': %s", args.positional[1].c_str(), ErrorText().c_str());
  Store<AnsiStr> names;
  from.GetValueNames(names);
  for (uint32_t i = 0; i < names.GetCount(); ++i) {
    AnsiStr text;
    if (!from.Read("", names.Get(i), text) || !to.Write("", names.Get(i), text))
      return Fail(kSub, "cannot copy the value '%s': %s", names.Get(i).GetStr(), ErrorText().c_str());
  }
  return Done();
}

int Export(int argc, char** argv) {
  Args args;
  if (int rc = Parse(argc, argv, "y", args)) return rc;
  if (args.positional.size() != 2) return UsageError(kSub, "export takes KEY and FILE");
  Registry reg;
  RegKey key;
  if (int rc = CheckKey(args.positional[0], reg, key)) return rc;
  if (!reg.IsKey()) return Fail(kSub, "the key '%s' does not exist", args.positional[0].c_str());
  const File file(AnsiStr(args.positional[1].c_str()));
  if (!args.y && access(args.positional[1].c_str(), F_OK) == 0 &&
      !Confirm("File " + args.positional[1] + " already exists. Overwrite"))
    return Cancelled();
  if (!reg.Export(file)) return Fail(kSub, "cannot export to '%s': %s", args.positional[1].c_str(), ErrorText().c_str());
  return Done();
}

int Import(int argc, char** argv) {
  Args args;
  if (int rc = Parse(argc, argv, "", args)) return rc;
  if (args.positional.size() != 1) return UsageError(kSub, "import takes one FILE");
  if (!RegImport(File(AnsiStr(args.positional[0].c_str())), nullptr, nullptr, true, false))
    return Fail(kSub, "cannot import '%s': %s", args.positional[0].c_str(), ErrorText().c_str());
  return Done();
}

int Run(int argc, char** argv) {
  if (argc >= 2 && (IsHelpOption(argv[1]) || strcmp(argv[1], "/?") == 0)) {
    fputs(kUsage, stdout);
    return kExitSuccess;
  }
  for (int i = 2; i < argc; ++i)
    if (strcmp(argv[i], "--help") == 0 || strcmp(argv[i], "/?") == 0) {
      fputs(kUsage, stdout);
      return kExitSuccess;
    }
  if (argc < 2) return UsageError(kSub, "an operation is needed: query, add, delete, copy, export or import");
  const struct {
    const char* name;
    int (*run)(int, char**);
  } operations[] = {{"query", Query}, {"add", Add}, {"delete", Delete}, {"copy", Copy}, {"export", Export}, {"import", Import}};
  for (const auto& operation : operations)
    if (strcasecmp(argv[1], operation.name) == 0) return operation.run(argc, argv);
  return UsageError(kSub, "unknown operation '%s'", argv[1]);
}

const SubcommandRegistration registration({kSub, "query and change the registry, import and export it", kUsage, Run});

}  // namespace

}  // namespace OrvGuiTool
