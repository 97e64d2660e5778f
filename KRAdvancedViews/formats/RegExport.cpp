#include "KRAdvancedViews/formats/RegExport.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "KRAdvancedViews/StoreLayout.h"
#include "KRAdvancedViews/formats/QjvText.h"

namespace krav::format {

namespace {

struct RegValueLine {
    std::string name; // between the first pair of quotes
    std::string value;
    bool empty = true; // the part before "=" is empty
};

RegValueLine s_splitRegLine(const std::string& line) {
    RegValueLine r;
    const size_t eq = line.find('=');
    const std::string before = eq == std::string::npos ? line : line.substr(0, eq);
    r.empty = Trim(before).empty();
    if (r.empty || eq == std::string::npos) return r;
    const size_t q1 = before.find('"');
    const size_t q2 = q1 == std::string::npos ? std::string::npos : before.find('"', q1 + 1);
    r.name = q2 == std::string::npos ? Trim(before) : before.substr(q1 + 1, q2 - q1 - 1);
    const std::string rest = line.substr(eq + 1);
    if (!rest.empty() && rest.front() == '"') {
        const size_t last = rest.rfind('"');
        r.value = last > 0 ? rest.substr(1, last - 1) : rest.substr(1);
    } else {
        const size_t colon = rest.find(':');
        r.value = colon == std::string::npos ? rest : rest.substr(colon + 1);
    }
    return r;
}

} // namespace

bool TravelsInRegExport(const std::string& name, std::string& why) {
    if (name.find_first_of("\"\\") != std::string::npos) {
        why = "it holds a quote or a backslash";
        return false;
    }
    if (name.find_first_of("\r\n") != std::string::npos) {
        why = "it holds a line break";
        return false;
    }
    const size_t line = std::strlen(kViewNameValue) + 5 + name.size(); // "View Name"="..."
    if (line > kRegLineLimit - 1) {
        why = "its line would be " + std::to_string(line) + " characters, longer than the " +
              std::to_string(kRegLineLimit - 1) + " a reader takes";
        return false;
    }
    return true;
}

bool LooksLikeRegExport(std::istream& in) {
    char first[80] = {};
    in.getline(first, sizeof first);
    return std::strncmp(first, "REGEDIT", 7) == 0;
}

std::vector<MergedSection> ReadRegExport(std::istream& in, ReadNotes* notes) {
    std::vector<MergedSection> out;
    ReadNotes unused;
    ReadNotes& told = notes ? *notes : unused;
    int lineNo = 0;
    auto read = [&](std::string& line) {
        bool tooLong = false;
        if (ReadTextLine(in, line, kRegLineLimit, &tooLong)) {
            told.line = ++lineNo;
            return true;
        }
        if (tooLong)
            told.add(ReadNote::LineTooLong, {}, std::to_string(kRegLineLimit - 1), lineNo + 1);
        return false;
    };
    std::string line, lastKey;
    // The export says how many views it holds: fewer sections mean a file
    // cut short.
    long announced = -1;
    while (read(line)) {
        if (!line.empty() && line[0] == '[') {
            lastKey = line;
            continue;
        }
        if (line.compare(0, 21, "\"Merged Views\"=dword:") == 0) {
            // Written as decimal digits, as the writer always has.
            announced = std::strtol(line.c_str() + 21, nullptr, 10);
            continue;
        }
        if (line.compare(0, 10, "@=\"Merged\"") != 0) continue;
        // The key header just before names the view's key.
        MergedSection s;
        s.key = lastKey.size() >= 2 ? lastKey.substr(1, lastKey.rfind(']') - 1) : std::string();
        s.line = lineNo;
        FullViewInfo& r = s.info;
        // A vector with a component that does not read stays the default whole.
        bool broken[4] = {false, false, false, false};
        float* vectors[4] = {r.pUpVector, r.pViewVector, r.pFromVector, r.pAtVector};
        static const char* kVectorNames[4] = {"UpVector", "ViewVector", "FromPoint", "AtPoint"};
        // What did not read, named once the section's view name is known.
        std::vector<ReadNote> pending;
        auto component = [&](int vector, int k, const std::string& text) {
            float v = 0;
            if (ScanFloats(text, &v, 1) == 1) {
                vectors[vector][k] = v;
            } else if (!broken[vector]) {
                broken[vector] = true;
                pending.push_back({ReadNote::BadVector, lineNo, {}, kVectorNames[vector]});
            }
        };
        auto number = [&](bool read, const std::string& name) {
            if (!read) pending.push_back({ReadNote::BadNumber, lineNo, {}, name});
        };
        int seen = 0;
        bool ended = false;
        for (;;) {
            const bool got = read(line);
            const RegValueLine v = got ? s_splitRegLine(line) : RegValueLine();
            if (!got || v.empty) {
                ended = got;
                break;
            }
            static const char* axes[3] = {"X", "Y", "Z"};
            for (int k = 0; k < 3; ++k)
                for (int vector = 0; vector < 4; ++vector)
                    if (v.name == std::string(kVectorNames[vector]) + " " + axes[k]) {
                        component(vector, k, v.value);
                        ++seen;
                    }
            int n = 0;
            if (v.name == "FOV") {
                number(ScanFloats(v.value, &r.viewAngle, 1) == 1, v.name);
            } else if (v.name == "Camera Type") {
                number(ScanInt(v.value, n), v.name);
                r.cameraType = static_cast<CameraTypeEnum>(n);
            } else if (v.name == kViewIndexValue) {
                number(ScanInt(v.value, n), v.name);
                r.iViewIndex = n;
            } else if (v.name == "Change Bits") {
                number(ScanInt(v.value, n), v.name);
                r.iChangeBits = n;
            } else if (v.name == kViewNameValue) {
                s.viewName = v.value;
            } else {
                continue;
            }
            ++seen;
        }
        const FullViewInfo defaults;
        const float* defaultVectors[4] = {defaults.pUpVector, defaults.pViewVector,
                                          defaults.pFromVector, defaults.pAtVector};
        for (int i = 0; i < 4; ++i)
            if (broken[i]) std::copy(defaultVectors[i], defaultVectors[i] + 3, vectors[i]);
        ClearFlagWithoutPoints(r);
        const std::string shown =
            s.viewName.empty() ? s.key.substr(s.key.rfind('\\') + 1) : s.viewName;
        for (ReadNote& note : pending) {
            note.view = shown;
            told.notes.push_back(std::move(note));
        }
        // Twelve vector components, FOV, the camera type, the index, the
        // change bits and the name: a section the file ends inside of before
        // them all is incomplete.
        if (!ended && seen < 17) told.add(ReadNote::CutOff, shown, {}, s.line);
        out.push_back(std::move(s));
    }
    bool stopped = false; // a line too long ended the file: said already
    for (const ReadNote& n : told.notes)
        stopped = stopped || n.kind == ReadNote::LineTooLong;
    if (!stopped && announced > long(out.size()))
        told.add(ReadNote::FewerViews, std::to_string(out.size()), std::to_string(announced));
    return out;
}

std::string WriteRegExport(const std::string& storePath, const std::vector<NamedRecord>& views,
                           std::string (*keyName)(int index)) {
    std::string out = "REGEDIT4\n\n";
    // The parents of the store key first, one header line each.
    for (size_t cut = storePath.find('\\'); cut != std::string::npos;
         cut = storePath.find('\\', cut + 1)) {
        const size_t next = storePath.find('\\', cut + 1);
        out +=
            "[" + storePath.substr(0, next == std::string::npos ? storePath.size() : next) + "]\n";
    }
    char buf[64];
    std::snprintf(buf, sizeof buf, "\"Merged Views\"=dword:%.8i\n\n",
                  static_cast<int>(views.size()));
    out += buf;
    auto f = [&out](const std::string& name, float v) {
        out += "\"" + name + "\"=float:" + FormatNumber(v) + "\n";
    };
    auto i = [&out](const char* name, int v) {
        out += std::string("\"") + name + "\"=int:" + std::to_string(v) + "\n";
    };
    const char* axes[3] = {"X", "Y", "Z"};
    for (const auto& [name, r] : views) {
        out += "[" + storePath + "\\" + keyName(r.iViewIndex) + "]\n@=\"Merged\"\n";
        for (int k = 0; k < 3; ++k)
            f("UpVector " + std::string(axes[k]), r.pUpVector[k]);
        for (int k = 0; k < 3; ++k)
            f("ViewVector " + std::string(axes[k]), r.pViewVector[k]);
        std::snprintf(buf, sizeof buf, "\"Camera Type\"=dword:%.8i\n",
                      static_cast<int>(r.cameraType));
        out += buf;
        i(kViewIndexValue, r.iViewIndex);
        for (int k = 0; k < 3; ++k)
            f("FromPoint " + std::string(axes[k]), r.pFromVector[k]);
        for (int k = 0; k < 3; ++k)
            f("AtPoint " + std::string(axes[k]), r.pAtVector[k]);
        f("FOV", r.viewAngle);
        i("Change Bits", r.iChangeBits);
        out += std::string("\"") + kViewNameValue + "\"=\"" + name + "\"\n\n";
    }
    return out;
}

} // namespace krav::format
