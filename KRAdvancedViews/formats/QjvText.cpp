#include "KRAdvancedViews/formats/QjvText.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstring>

namespace krav::format {

namespace {

bool s_iequals(const std::string& a, const char* b) {
    if (a.size() != std::strlen(b)) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (std::tolower(static_cast<unsigned char>(a[i])) !=
            std::tolower(static_cast<unsigned char>(b[i])))
            return false;
    return true;
}

std::string s_vec(const float v[3]) {
    return FormatNumber(v[0]) + " " + FormatNumber(v[1]) + " " + FormatNumber(v[2]);
}

} // namespace

bool ReadTextLine(std::istream& in, std::string& line, size_t limit, bool* tooLong) {
    line.clear();
    if (tooLong) *tooLong = false;
    if (!in.good()) return false;
    std::getline(in, line);
    if (in.bad() || (in.fail() && line.empty())) {
        line.clear();
        return false;
    }
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.size() > limit - 1) {
        in.setstate(std::ios::failbit);
        line.clear();
        if (tooLong) *tooLong = true;
        return false;
    }
    return true;
}

std::string Trim(const std::string& s) {
    const char* ws = " \t\r\n\v\f";
    const size_t b = s.find_first_not_of(ws);
    if (b == std::string::npos) return {};
    return s.substr(b, s.find_last_not_of(ws) - b + 1);
}

int ScanFloats(const std::string& text, float* out, int n) {
    const char* p = text.c_str();
    const char* end = p + text.size();
    int got = 0;
    while (got < n) {
        while (p < end && std::isspace(static_cast<unsigned char>(*p)))
            ++p;
        if (p < end && *p == '+') ++p;
        float v = 0;
        const auto r = std::from_chars(p, end, v);
        // Out of the float range, or not a finite number: not read.
        if (r.ec != std::errc() || !std::isfinite(v)) break;
        out[got++] = v;
        p = r.ptr;
    }
    return got;
}

bool ScanInt(const std::string& text, int& out) {
    const char* p = text.c_str();
    const char* end = p + text.size();
    while (p < end && std::isspace(static_cast<unsigned char>(*p)))
        ++p;
    if (p < end && *p == '+') ++p;
    int v = 0;
    const auto r = std::from_chars(p, end, v);
    if (r.ec != std::errc()) return false;
    out = v;
    return true;
}

bool ScanVector(const std::string& text, float out[3]) {
    float v[3] = {out[0], out[1], out[2]};
    if (ScanFloats(text, v, 3) != 3) return false;
    std::copy(v, v + 3, out);
    return true;
}

float LeadingFloat(const std::string& text) {
    float v = 0;
    ScanFloats(text, &v, 1);
    return v;
}

int LeadingInt(const std::string& text) {
    int v = 0;
    ScanInt(text, v);
    return v;
}

std::string FormatNumber(double v) {
    char buf[64];
    const auto r = std::to_chars(buf, buf + sizeof buf, v, std::chars_format::general, 6);
    std::string s(buf, r.ptr);
    // printf pads the exponent to two digits; to_chars does not.
    const size_t e = s.find('e');
    if (e != std::string::npos) {
        size_t digits = e + 2;
        if (s.size() - digits < 2) s.insert(digits, 2 - (s.size() - digits), '0');
    }
    return s;
}

void ClearFlagWithoutPoints(FullViewInfo& r) {
    for (int i = 0; i < 3; ++i)
        if (r.pFromVector[i] != 0.0f || r.pAtVector[i] != 0.0f) return;
    r.bHasFromAndAt = 0;
}

std::string QjvRecordLines(const std::string& name, const FullViewInfo& r) {
    std::string out;
    out += "Name:" + name + "\n";
    out += "Up:" + s_vec(r.pUpVector) + "\n";
    out += "View:" + s_vec(r.pViewVector) + "\n";
    out += "Type:" + std::to_string(static_cast<int>(r.cameraType)) + "\n";
    out += "Num:" + std::to_string(r.iViewIndex) + "\n";
    out += "From:" + s_vec(r.pFromVector) + "\n";
    out += "At:" + s_vec(r.pAtVector) + "\n";
    out += "Fov:" + FormatNumber(r.viewAngle) + "\n";
    out += "HasAtAndFrom:" + std::to_string(r.bHasFromAndAt) + "\n";
    out += "Change:" + std::to_string(r.iChangeBits) + "\n";
    return out;
}

std::string QjvHeaderLines() {
    return std::string(kQjvHeader) + "\n" + FormatNumber(2.0) + "\n";
}

bool ReadQjvTextHeader(std::istream& in, double& version) {
    std::string line;
    if (!ReadTextLine(in, line, kQjvTextLineLimit) || line != kQjvHeader) return false;
    version = 2.0;
    if (ReadTextLine(in, line, kQjvTextLineLimit)) {
        const std::string v = Trim(line);
        double parsed = 0;
        const auto r = std::from_chars(v.data(), v.data() + v.size(), parsed);
        if (r.ec == std::errc()) version = parsed;
    }
    return true;
}

std::vector<NamedRecord> ParseQjvVersion1(const LineSource& next, ReadNotes* notes) {
    std::vector<NamedRecord> out;
    std::string name, line;
    while (next(name) && !name.empty()) {
        FullViewInfo r;
        const int start = notes ? notes->line : 0;
        bool got = next(line);
        bool ok = got && ScanFloats(line, r.pUpVector, 3) == 3;
        ok = ok && (got = next(line)) && ScanFloats(line, r.pViewVector, 3) == 3;
        int type = r.cameraType;
        ok = ok && (got = next(line)) && ScanInt(line, type);
        ok = ok && (got = next(line)) && ScanInt(line, r.iViewIndex);
        if (!ok) {
            if (notes)
                notes->add(got ? ReadNote::Unreadable : ReadNote::CutOff, name, {},
                           got ? 0 : start);
            break;
        }
        r.cameraType = static_cast<CameraTypeEnum>(type);
        out.push_back({name, r});
    }
    return out;
}

std::vector<NamedRecord> ParseQjvVersion2(const LineSource& next, ReadNotes* notes) {
    std::vector<NamedRecord> out;
    auto split = [](const std::string& line, std::string& key, std::string& value) {
        const size_t colon = line.find(':');
        key = Trim(colon == std::string::npos ? line : line.substr(0, colon));
        value = colon == std::string::npos ? std::string() : Trim(line.substr(colon + 1));
    };
    std::string line, key, value;
    bool more = next(line) && !line.empty();
    while (more) {
        split(line, key, value);
        while (!s_iequals(key, "Name")) {
            if (!next(line)) {
                more = false;
                break;
            }
            split(line, key, value);
        }
        if (!more) break;
        std::string name = value;
        const int start = notes ? notes->line : 0;
        FullViewInfo r;
        bool complete = false;
        // A value that does not read keeps the record's default, and the
        // user is told which.
        auto note = [&](bool read, ReadNote::Kind kind) {
            if (!read && notes) notes->add(kind, name, key);
        };
        while (!complete) {
            if (!next(line)) break;
            split(line, key, value);
            int type = r.cameraType;
            if (s_iequals(key, "Name"))
                name = value;
            else if (s_iequals(key, "Up"))
                note(ScanVector(value, r.pUpVector), ReadNote::BadVector);
            else if (s_iequals(key, "View"))
                note(ScanVector(value, r.pViewVector), ReadNote::BadVector);
            else if (s_iequals(key, "Type")) {
                const bool read = ScanInt(value, type);
                if (read) r.cameraType = static_cast<CameraTypeEnum>(type);
                note(read, ReadNote::BadNumber);
            } else if (s_iequals(key, "Num"))
                note(ScanInt(value, r.iViewIndex), ReadNote::BadNumber);
            else if (s_iequals(key, "From"))
                note(ScanVector(value, r.pFromVector), ReadNote::BadVector);
            else if (s_iequals(key, "At"))
                note(ScanVector(value, r.pAtVector), ReadNote::BadVector);
            else if (s_iequals(key, "Fov"))
                note(ScanFloats(value, &r.viewAngle, 1) == 1, ReadNote::BadNumber);
            else if (s_iequals(key, "HasAtAndFrom"))
                note(ScanInt(value, r.bHasFromAndAt), ReadNote::BadNumber);
            else if (s_iequals(key, "Change")) {
                note(ScanInt(value, r.iChangeBits), ReadNote::BadNumber);
                complete = true;
            }
        }
        if (!complete) { // cut off by the end of the file: dropped
            if (notes) notes->add(ReadNote::CutOff, name, {}, start);
            break;
        }
        ClearFlagWithoutPoints(r);
        out.push_back({std::move(name), r});
        more = next(line) && !line.empty();
    }
    return out;
}

} // namespace krav::format
