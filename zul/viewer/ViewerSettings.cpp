#include "ViewerSettings.h"

#include <cstring>
#include <string>
#include <vector>

#include "zul/registry/registry.h"

namespace zul::viewer {
namespace {

// The viewer's key, opened for reading or made for writing; null when not.
HKEY s_key(bool write) {
    HKEY key = nullptr;
    const LSTATUS status = write ? RegCreateKeyExA(HKEY_CURRENT_USER, kViewerKey, 0, nullptr, 0,
                                                   KEY_ALL_ACCESS, nullptr, &key, nullptr)
                                 : RegOpenKeyExA(HKEY_CURRENT_USER, kViewerKey, 0, KEY_READ, &key);
    return status == ERROR_SUCCESS ? key : nullptr;
}

bool s_readBytes(const char* name, DWORD wantType, std::vector<unsigned char>& out) {
    HKEY key = s_key(false);
    if (!key) return false;
    DWORD type = 0, size = 0;
    bool ok = RegQueryValueExA(key, name, nullptr, &type, nullptr, &size) == ERROR_SUCCESS &&
              type == wantType && size <= (1u << 20);
    if (ok) {
        out.resize(size);
        ok = RegQueryValueExA(key, name, nullptr, &type, out.data(), &size) == ERROR_SUCCESS;
        out.resize(size);
    }
    RegCloseKey(key);
    return ok;
}

void s_write(const char* name, DWORD type, const void* data, DWORD size) {
    if (HKEY key = s_key(true)) {
        RegSetValueExA(key, name, 0, type, static_cast<const BYTE*>(data), size);
        RegCloseKey(key);
    }
}

QString s_string(const char* name) {
    std::vector<unsigned char> bytes;
    if (!s_readBytes(name, REG_SZ, bytes)) return {};
    while (!bytes.empty() && bytes.back() == 0)
        bytes.pop_back();
    return QString::fromUtf8(reinterpret_cast<const char*>(bytes.data()), int(bytes.size()));
}

void s_setString(const char* name, const QString& value) {
    const QByteArray utf8 = value.toUtf8();
    s_write(name, REG_SZ, utf8.constData(), DWORD(utf8.size() + 1));
}

} // namespace

unsigned ReadTransitionMs() {
    std::vector<unsigned char> bytes;
    if (!s_readBytes("Transition Ms", REG_DWORD, bytes) || bytes.size() != 4)
        return kDefaultTransitionMs;
    DWORD ms = 0;
    std::memcpy(&ms, bytes.data(), 4);
    return ms > kMaxTransitionMs ? kMaxTransitionMs : unsigned(ms);
}

void WriteTransitionMs(unsigned ms) {
    const DWORD value = ms > kMaxTransitionMs ? kMaxTransitionMs : ms;
    s_write("Transition Ms", REG_DWORD, &value, sizeof value);
}

QStringList ReadRecentModels() {
    QStringList paths;
    for (int i = 1; i <= kRecentModels; ++i) {
        const QString path = s_string(("Recent Model " + std::to_string(i)).c_str());
        if (!path.isEmpty() && !paths.contains(path)) paths << path;
    }
    return paths;
}

QStringList AddRecentModels(const QStringList& added) {
    QStringList paths = added;
    for (const QString& p : ReadRecentModels())
        if (!paths.contains(p)) paths << p;
    while (paths.size() > kRecentModels)
        paths.removeLast();
    for (int i = 0; i < kRecentModels; ++i) {
        const std::string name = "Recent Model " + std::to_string(i + 1);
        if (i < paths.size())
            s_setString(name.c_str(), paths[i]);
        else if (HKEY key = s_key(true)) {
            RegDeleteValueA(key, name.c_str());
            RegCloseKey(key);
        }
    }
    return paths;
}

QByteArray ReadGeometry(const QString& name) {
    std::vector<unsigned char> bytes;
    if (!s_readBytes(("Geometry " + name.toStdString()).c_str(), REG_BINARY, bytes)) return {};
    return QByteArray(reinterpret_cast<const char*>(bytes.data()), int(bytes.size()));
}

void WriteGeometry(const QString& name, const QByteArray& geometry) {
    s_write(("Geometry " + name.toStdString()).c_str(), REG_BINARY, geometry.constData(),
            DWORD(geometry.size()));
}

} // namespace zul::viewer
