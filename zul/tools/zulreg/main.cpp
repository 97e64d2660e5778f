// zulreg: look into and change the registry hives from the command line.
//
//   zulreg list KEY                  subkey names, one a line, in enumeration order
//   zulreg export KEY [FILE|-]       REGEDIT4 text of KEY and everything below it
//   zulreg import FILE|-             a registry editor file, all of it or nothing
//   zulreg set KEY NAME TYPE DATA    one value (NAME "" is the key's default value)
//   zulreg delete KEY [NAME]         a value, or the key with everything below it
//   zulreg regsvr [-u] MODULE        registers (unregisters) a component server, as
//                                    the platform's registration tool does
//
// Exit status: 0 success, 1 failure (with a message), 2 bad usage.

#include <CLI/CLI.hpp>

#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <set>
#include <sstream>

#include "KRAdvancedViews/StoreLayout.h"
#include "zul/registry/Backup.h"
#include "zul/registry/RegFile.h"
#include "zul/registry/SafeFile.h"
#include "zul/registry/Transaction.h"
#include "zul/registry/registry.h"
#include "zul/runtime/Library.h"

namespace {

constexpr int kFailure = 1;
constexpr int kUsage = 2;

int report(const std::string& what, LSTATUS st) {
    std::cerr << "zulreg: " << what << ": " << zul::registry::describeStatus(st);
    const std::string detail = zul::registry::lastErrorDetail();
    if (!detail.empty()) std::cerr << " (" << detail << ")";
    std::cerr << "\n";
    return kFailure;
}

bool splitKey(const std::string& key, HKEY& root, std::string& sub) {
    if (zul::registry::splitRootPath(key, root, sub)) return true;
    std::cerr << "zulreg: '" << key
              << "' must start with HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE or HKEY_CLASSES_ROOT\n";
    return false;
}

int cmdList(const std::string& key) {
    HKEY root = nullptr, h = nullptr;
    std::string sub;
    if (!splitKey(key, root, sub)) return kUsage;
    LSTATUS st = RegOpenKeyExA(root, sub.c_str(), 0, KEY_READ, &h);
    if (st != ERROR_SUCCESS) return report("cannot open '" + key + "'", st);
    char name[1024];
    for (DWORD i = 0;; ++i) {
        DWORD cch = sizeof name;
        st = RegEnumKeyExA(h, i, name, &cch, nullptr, nullptr, nullptr, nullptr);
        if (st == ERROR_NO_MORE_ITEMS) break;
        if (st != ERROR_SUCCESS) {
            RegCloseKey(h);
            return report("cannot list '" + key + "'", st);
        }
        std::cout << std::string(name, cch) << "\n";
    }
    RegCloseKey(h);
    return 0;
}

int cmdExport(const std::string& key, const std::string& file, bool regedit4) {
    // A file gets what the registry editor writes (version 5, UTF-16LE);
    // standard output the same text in UTF-8. --regedit4: REGEDIT4 in
    // Windows-1252 either way.
    const bool toStdout = file.empty() || file == "-";
    using zul::registry::RegFileForm;
    const RegFileForm form = regedit4   ? RegFileForm::Regedit4
                             : toStdout ? RegFileForm::Version5Text
                                        : RegFileForm::Version5;
    std::string bytes;
    const LSTATUS st = zul::registry::exportRegFile(key, form, bytes);
    if (st != ERROR_SUCCESS) return report("cannot export '" + key + "'", st);
    if (toStdout) {
        std::cout << bytes;
        return std::cout.good() ? 0 : kFailure;
    }
    // Written beside the target under a name made exclusively and renamed
    // over it: a failed export never leaves half a file where a good one
    // stood, and no link planted in a shared folder is followed.
    std::string why;
    if (!zul::registry::writeFileReplacing(file, bytes, why)) {
        std::cerr << "zulreg: cannot write '" << file << "': " << why << "\n";
        return kFailure;
    }
    return 0;
}

// The largest registry file `import` takes (a store's export is a few KB).
constexpr uint64_t kMaxImportBytes = uint64_t(64) << 20;

int cmdImport(const std::string& file, bool strict) {
    std::string bytes;
    if (file == "-") {
        // Standard input may never end (/dev/zero): it is read up to the
        // same bound as a file.
        char chunk[1 << 16];
        while (std::cin.read(chunk, sizeof chunk) || std::cin.gcount() > 0) {
            bytes.append(chunk, size_t(std::cin.gcount()));
            if (bytes.size() > kMaxImportBytes) {
                std::cerr << "zulreg: cannot import standard input: larger than the "
                          << (kMaxImportBytes >> 20)
                          << " MiB such a file may be; nothing was imported\n";
                return kFailure;
            }
        }
    } else if (std::string why; !zul::registry::readInputFile(file, kMaxImportBytes, bytes, why)) {
        std::cerr << "zulreg: cannot import '" << file << "': " << why
                  << "; nothing was imported\n";
        return kFailure;
    }
    const std::string source = file == "-" ? "<stdin>" : file;
    auto parsed = zul::registry::parseRegFile(bytes, source, strict);
    if (!parsed.ok) {
        std::cerr << "zulreg: " << parsed.error << "; nothing was imported\n";
        return kFailure;
    }
    std::string error;
    // One transaction: no other writer can take a key between the choice
    // of a free one and the import.
    zul::registry::Transaction tx;
    const std::vector<std::string> told = krav::KeepStoreRules(parsed);
    LSTATUS st = zul::registry::applyRegFile(parsed, source, error);
    if (st == ERROR_SUCCESS && (st = tx.commit()) != ERROR_SUCCESS)
        error = zul::registry::describeStatus(st) + " (" + zul::registry::lastErrorDetail() + ")";
    if (st != ERROR_SUCCESS) {
        std::cerr << "zulreg: " << error << "; nothing was imported\n";
        return kFailure;
    }
    // Said once the import is done: nothing is said of what did not happen.
    for (const std::string& line : told)
        std::cerr << "zulreg: " << line << "\n";
    if (parsed.skipped > 0) {
        std::cerr << "zulreg: warning: " << parsed.skipped
                  << " line(s) with a type the registry editor does not know were skipped (line";
        for (const int l : parsed.skippedLines)
            std::cerr << " " << l;
        std::cerr << ")\n";
    }
    return 0;
}

template <class T> bool parseNumber(const std::string& text, T& out) {
    const char* first = text.c_str();
    const char* last = first + text.size();
    int base = 10;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        first += 2;
        base = 16;
    }
    const auto r = std::from_chars(first, last, out, base);
    return r.ec == std::errc() && r.ptr == last && first != last;
}

bool parseHexBytes(const std::string& text, std::string& out) {
    std::string digits;
    for (const char c : text) {
        if (c == ',' || c == ' ' || c == ':') continue;
        if (!std::isxdigit(static_cast<unsigned char>(c))) return false;
        digits += c;
    }
    if (digits.size() % 2 != 0) return false;
    for (size_t i = 0; i < digits.size(); i += 2)
        out += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    return true;
}

int cmdSet(const std::string& key, const std::string& name, const std::string& type,
           const std::string& data) {
    HKEY root = nullptr;
    std::string sub;
    if (!splitKey(key, root, sub)) return kUsage;
    DWORD regType = REG_NONE;
    std::string bytes;
    if (type == "REG_SZ" || type == "REG_EXPAND_SZ") {
        regType = type == "REG_SZ" ? REG_SZ : REG_EXPAND_SZ;
        bytes = data + '\0';
    } else if (type == "REG_DWORD") {
        uint32_t v = 0;
        if (!parseNumber(data, v)) {
            std::cerr << "zulreg: REG_DWORD data '" << data
                      << "' is not a 32-bit number (decimal or 0x hex)\n";
            return kUsage;
        }
        regType = REG_DWORD;
        bytes.assign(reinterpret_cast<const char*>(&v), 4);
    } else if (type == "REG_QWORD") {
        uint64_t v = 0;
        if (!parseNumber(data, v)) {
            std::cerr << "zulreg: REG_QWORD data '" << data
                      << "' is not a 64-bit number (decimal or 0x hex)\n";
            return kUsage;
        }
        regType = REG_QWORD;
        bytes.assign(reinterpret_cast<const char*>(&v), 8);
    } else if (type == "REG_BINARY") {
        if (!parseHexBytes(data, bytes)) {
            std::cerr << "zulreg: REG_BINARY data '" << data << "' is not a list of hex bytes\n";
            return kUsage;
        }
        regType = REG_BINARY;
    } else {
        std::cerr << "zulreg: unknown type '" << type
                  << "' (REG_SZ, REG_EXPAND_SZ, REG_DWORD, REG_QWORD or REG_BINARY)\n";
        return kUsage;
    }
    HKEY h = nullptr;
    LSTATUS st = RegCreateKeyExA(root, sub.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &h, nullptr);
    if (st != ERROR_SUCCESS) return report("cannot create '" + key + "'", st);
    st = RegSetValueExA(h, name.c_str(), 0, regType, reinterpret_cast<const BYTE*>(bytes.data()),
                        static_cast<DWORD>(bytes.size()));
    RegCloseKey(h);
    if (st != ERROR_SUCCESS) return report("cannot set '" + name + "' in '" + key + "'", st);
    return 0;
}

int cmdDelete(const std::string& key, const std::string* name) {
    HKEY root = nullptr;
    std::string sub;
    if (!splitKey(key, root, sub)) return kUsage;
    if (!name) {
        if (sub.empty()) {
            std::cerr << "zulreg: refusing to delete a whole root key\n";
            return kUsage;
        }
        const LSTATUS st = RegDeleteTreeA(root, sub.c_str());
        return st == ERROR_SUCCESS ? 0 : report("cannot delete '" + key + "'", st);
    }
    HKEY h = nullptr;
    LSTATUS st = RegOpenKeyExA(root, sub.c_str(), 0, KEY_WRITE, &h);
    if (st != ERROR_SUCCESS) return report("cannot open '" + key + "'", st);
    st = RegDeleteValueA(h, name->c_str());
    RegCloseKey(h);
    return st == ERROR_SUCCESS ? 0 : report("cannot delete '" + *name + "' in '" + key + "'", st);
}

// Loads the component server and calls its registration entry point. Where
// the classes go is the server's business: per user with CURRENT_USER_INSTALL
// set, else the machine's classes root.
int cmdRegsvr(const std::string& module, bool unregister) {
    const char* entry = unregister ? "DllUnregisterServer" : "DllRegisterServer";
    zul::runtime::Library lib;
    if (!lib.load(module.find('/') == std::string::npos ? "./" + module : module)) {
        std::cerr << "zulreg: cannot load '" << module << "': " << lib.error() << "\n";
        return kFailure;
    }
    const auto fn = lib.function<zul::runtime::DllRegisterServerFn>(entry);
    if (!fn) {
        std::cerr << "zulreg: '" << module << "' is not a component server (no " << entry << ")\n";
        return kFailure;
    }
    const char* where = std::getenv("CURRENT_USER_INSTALL") ? "the current user" : "the machine";
    const HRESULT hr = fn();
    if (FAILED(hr)) {
        std::cerr << "zulreg: " << entry << " in '" << module << "' failed for " << where << ": "
                  << zul::runtime::describeHresult(hr);
        if ((static_cast<uint32_t>(hr) & 0xFFFF0000u) == 0x80070000u)
            std::cerr << ", " << zul::registry::describeStatus(static_cast<LSTATUS>(hr & 0xFFFF));
        const std::string detail = zul::registry::lastErrorDetail();
        if (!detail.empty()) std::cerr << " (" << detail << ")";
        std::cerr << "\n";
        return kFailure;
    }
    std::cout << entry << " in '" << module << "' succeeded for " << where << ".\n";
    return 0;
}

int cmdRestoreBackup(std::string hive, bool force) {
    if (hive.empty()) hive = zul::registry::userHivePath();
    zul::registry::RestoreResult done;
    std::string why;
    if (!zul::registry::restoreHiveBackup(hive, force, done, why)) {
        std::cerr << "zulreg: restore-backup: " << why << "\n";
        return kFailure;
    }
    std::cout << "Restored '" << hive << "' from its backup of " << done.backupTime << ".\n";
    if (!done.keptAside.empty())
        std::cout << "The hive it replaced is kept as '" << done.keptAside << "'.\n";
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app{
        "zulreg: read and change the ZUL registry hives.\n"
        "Hives: $ZUL_USER_HIVE (HKEY_CURRENT_USER), $ZUL_MACHINE_HIVE (HKEY_LOCAL_MACHINE)."};
    app.require_subcommand(1);
    app.set_version_flag("--version", "zulreg " ZUL_VERSION);

    std::string key, file, name, type, data;

    auto* list = app.add_subcommand("list", "Print the subkey names of KEY, one a line");
    list->add_option("KEY", key, "Key path, e.g. HKEY_CURRENT_USER\\Software\\ZUL")->required();

    auto* exp = app.add_subcommand(
        "export", "Write KEY and everything below it as a registry editor file: version 5 in "
                  "UTF-16LE to FILE, the same text in UTF-8 to standard output");
    exp->add_option("KEY", key, "Key path")->required();
    exp->add_option("FILE", file, "Output file, or - for standard output (the default)");
    bool regedit4 = false;
    exp->add_flag("--regedit4", regedit4,
                  "Write REGEDIT4 in Windows-1252 instead (fails, naming the key and value, "
                  "when a character cannot be written in it)");

    auto* imp =
        app.add_subcommand("import", "Import a registry editor file: all of it, or nothing");
    imp->add_option("FILE", file, "REGEDIT4 or version 5 file, or - for standard input")
        ->required();
    bool strict = false;
    imp->add_flag("--strict", strict,
                  "Skip the view exports' float: and int: lines, as the registry editor does");

    auto* set = app.add_subcommand("set", "Set one value, creating the key if needed");
    set->add_option("KEY", key, "Key path")->required();
    set->add_option("NAME", name, "Value name; \"\" for the key's default value")->required();
    set->add_option("TYPE", type, "REG_SZ, REG_EXPAND_SZ, REG_DWORD, REG_QWORD or REG_BINARY")
        ->required();
    set->add_option("DATA", data,
                    "Text; a number (decimal or 0x hex); or hex bytes such as 01,ff,20")
        ->required();

    auto* del = app.add_subcommand("delete", "Delete a value, or a key with everything below it");
    del->add_option("KEY", key, "Key path")->required();
    auto* nameOpt = del->add_option("NAME", name, "Value to delete; without it the key is deleted");

    bool unregister = false;
    auto* regsvr =
        app.add_subcommand("regsvr", "Register a component server's classes (per user with "
                                     "CURRENT_USER_INSTALL set, else for the machine)");
    regsvr->add_flag("-u,--unregister", unregister, "Unregister instead");
    regsvr->add_option("MODULE", file, "The server library")->required();

    bool force = false;
    std::string hive;
    auto* restore = app.add_subcommand(
        "restore-backup", "Put the last good copy of a hive (<hive>.backup, kept daily) in its "
                          "place; the hive it replaces is kept as <hive>.damaged-<time>");
    restore->add_option("HIVE", hive, "The hive (default: the user's hive)");
    restore->add_flag("--force", force, "Restore even when the hive checks whole");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        const int code = app.exit(e);
        return e.get_exit_code() == 0 ? code : kUsage;
    }

    if (*list) return cmdList(key);
    if (*exp) return cmdExport(key, file, regedit4);
    if (*imp) return cmdImport(file, strict);
    if (*set) return cmdSet(key, name, type, data);
    if (*del) return cmdDelete(key, nameOpt->count() ? &name : nullptr);
    if (*regsvr) return cmdRegsvr(file, unregister);
    if (*restore) return cmdRestoreBackup(hive, force);
    return kUsage;
}
