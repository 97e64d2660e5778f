#include "PlyCheck.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

namespace zul::scene {
namespace {

enum class PlyType { None, I8, U8, I16, U16, I32, U32, F32, F64 };

PlyType s_plyType(std::string_view word) {
    struct Name {
        std::string_view a, b;
        PlyType type;
    };
    static constexpr Name names[] = {
        {"char", "int8", PlyType::I8},      {"uchar", "uint8", PlyType::U8},
        {"short", "int16", PlyType::I16},   {"ushort", "uint16", PlyType::U16},
        {"int", "int32", PlyType::I32},     {"uint", "uint32", PlyType::U32},
        {"float", "float32", PlyType::F32}, {"double", "float64", PlyType::F64}};
    for (const Name& n : names)
        if (word == n.a || word == n.b) return n.type;
    return PlyType::None;
}

size_t s_plySize(PlyType t) {
    switch (t) {
    case PlyType::I8:
    case PlyType::U8:
        return 1;
    case PlyType::I16:
    case PlyType::U16:
        return 2;
    case PlyType::I32:
    case PlyType::U32:
    case PlyType::F32:
        return 4;
    case PlyType::F64:
        return 8;
    case PlyType::None:
        break;
    }
    return 0;
}

bool s_plyInteger(PlyType t) {
    return t != PlyType::F32 && t != PlyType::F64 && t != PlyType::None;
}

struct PlyProperty {
    std::string name;
    std::string line; // as the header gives it
    PlyType type = PlyType::None;
    PlyType countType = PlyType::None; // None: not a list
};

struct PlyElement {
    std::string name;
    uint64_t count = 0;
    std::vector<PlyProperty> properties;
};

// A list longer than this is not a face or anything else a reader should
// allocate for.
constexpr uint64_t kMaxListLength = 1u << 16;
// More instances than this of one element is more than any file here can
// hold (each takes at least one byte).
constexpr uint64_t kMaxCount = uint64_t(1) << 40;

std::vector<std::string_view> s_words(std::string_view line) {
    std::vector<std::string_view> words;
    size_t i = 0;
    while (i < line.size()) {
        while (i < line.size() && (line[i] == ' ' || line[i] == '\t' || line[i] == '\r'))
            ++i;
        const size_t start = i;
        while (i < line.size() && line[i] != ' ' && line[i] != '\t' && line[i] != '\r')
            ++i;
        if (i > start) words.push_back(line.substr(start, i - start));
    }
    return words;
}

bool s_parseCount(std::string_view word, uint64_t& out) {
    if (word.empty() || word.size() > 19) return false;
    out = 0;
    for (char c : word) {
        if (c < '0' || c > '9') return false;
        out = out * 10 + uint64_t(c - '0');
    }
    return true;
}

// Reads one value of `type` from binary data as a signed 64-bit integer
// (integer types only).
int64_t s_binaryInteger(const unsigned char* p, PlyType type, bool bigEndian) {
    const size_t n = s_plySize(type);
    uint64_t v = 0;
    for (size_t i = 0; i < n; ++i)
        v |= uint64_t(p[bigEndian ? n - 1 - i : i]) << (8 * i);
    switch (type) {
    case PlyType::I8:
        return int8_t(v);
    case PlyType::I16:
        return int16_t(v);
    case PlyType::I32:
        return int32_t(v);
    default:
        return int64_t(v);
    }
}

// Checks a PLY file's header against its data. Given a mend, it is lenient
// where a reader can still draw what the file holds: header lines that are
// not PLY (a producer's note written without "comment") are skipped, and a
// body that ends before the header's counts keeps the instances it holds
// whole; the mend then carries the header to read the kept bytes with.
class PlyChecker {
public:
    PlyChecker(const unsigned char* data, size_t size, ModelMend* mend = nullptr)
        : data_(data), size_(size), mend_(mend) {}

    bool check(std::string& why) {
        if (!_header(why)) return false;
        const PlyElement* vertex = _element("vertex");
        vertexCount_ = vertex ? vertex->count : 0;
        bodyBegin_ = pos_;
        if (!(ascii_ ? _asciiData(why) : _binaryData(why))) return false;
        if (!vertex || !_has(*vertex, "x") || !_has(*vertex, "y") || !_has(*vertex, "z")) {
            why = "no vertex element with x, y and z properties";
            return false;
        }
        if (mend_ && (!skipped_.empty() || !declared_.empty())) _writeMend();
        return true;
    }

private:
    bool _line(std::string_view& line) {
        if (pos_ >= size_) return false;
        const auto* end =
            static_cast<const unsigned char*>(std::memchr(data_ + pos_, '\n', size_ - pos_));
        const size_t stop = end ? size_t(end - data_) : size_;
        line = std::string_view(reinterpret_cast<const char*>(data_ + pos_), stop - pos_);
        pos_ = end ? stop + 1 : size_;
        ++line_;
        return true;
    }

    bool _header(std::string& why) {
        std::string_view line;
        if (!_line(line) || s_words(line) != std::vector<std::string_view>{"ply"}) {
            why = "not a PLY file (it does not start with \"ply\")";
            return false;
        }
        bool format = false;
        for (int number = 2;; ++number) {
            if (!_line(line)) {
                why = "the header has no end_header line";
                return false;
            }
            const auto w = s_words(line);
            const std::string at = " (header line " + std::to_string(number) + ")";
            if (w.empty() || w[0] == "comment" || w[0] == "obj_info") continue;
            if (w[0] == "end_header") break;
            if (w[0] != "format" && w[0] != "element" && w[0] != "property" && mend_) {
                skipped_.push_back(number);
                continue;
            }
            if (w[0] == "format") {
                if (w.size() != 3 || (w[1] != "ascii" && w[1] != "binary_little_endian" &&
                                      w[1] != "binary_big_endian")) {
                    why = "unknown format line" + at;
                    return false;
                }
                formatLine_ = std::string(w[0]) + " " + std::string(w[1]) + " " + std::string(w[2]);
                ascii_ = w[1] == "ascii";
                bigEndian_ = w[1] == "binary_big_endian";
                format = true;
            } else if (w[0] == "element") {
                PlyElement e;
                if (w.size() != 3 || !s_parseCount(w[2], e.count) || e.count > kMaxCount) {
                    why = "an element line without a valid count" + at;
                    return false;
                }
                e.name = std::string(w[1]);
                elements_.push_back(std::move(e));
            } else if (w[0] == "property") {
                if (elements_.empty()) {
                    why = "a property before any element" + at;
                    return false;
                }
                PlyProperty p;
                if (w.size() == 5 && w[1] == "list") {
                    p.countType = s_plyType(w[2]);
                    p.type = s_plyType(w[3]);
                    p.name = std::string(w[4]);
                    if (!s_plyInteger(p.countType)) p.type = PlyType::None;
                } else if (w.size() == 3) {
                    p.type = s_plyType(w[1]);
                    p.name = std::string(w[2]);
                }
                if (p.type == PlyType::None) {
                    why = "a property line the reader does not know" + at;
                    return false;
                }
                p.line = std::string(line);
                while (!p.line.empty() && p.line.back() == '\r')
                    p.line.pop_back();
                elements_.back().properties.push_back(std::move(p));
            } else {
                why = "a header line the reader does not know" + at;
                return false;
            }
        }
        if (!format) {
            why = "the header has no format line";
            return false;
        }
        return true;
    }

    const PlyElement* _element(std::string_view name) const {
        for (const PlyElement& e : elements_)
            if (e.name == name) return &e;
        return nullptr;
    }
    static bool _has(const PlyElement& e, std::string_view name) {
        for (const PlyProperty& p : e.properties)
            if (p.name == name && p.countType == PlyType::None) return true;
        return false;
    }
    // Face lists give indices into the vertices; the reader uses them as they are.
    bool _isIndexList(const PlyElement& e, const PlyProperty& p) const {
        return e.name == "face" && p.countType != PlyType::None &&
               (p.name == "vertex_indices" || p.name == "vertex_index");
    }

    std::string _shortOf(const PlyElement& e, uint64_t instance, const char* what) const {
        return "the header declares " + std::to_string(e.count) + " " + e.name + " element" +
               (e.count == 1 ? "" : "s") + ", but " + what + " after " + std::to_string(instance);
    }

    bool _index(const PlyElement& e, uint64_t instance, double value, std::string& why) const {
        if (value >= 0 && value < double(vertexCount_) && value == double(int64_t(value)))
            return true;
        why = e.name + " " + std::to_string(instance + 1) + " names vertex " +
              std::to_string(int64_t(value)) + ", but there are " + std::to_string(vertexCount_);
        return false;
    }

    bool _asciiData(std::string& why) {
        for (PlyElement& e : elements_) {
            for (uint64_t k = 0; k < e.count; ++k) {
                std::string_view line;
                const size_t start = pos_;
                if (!_line(line)) {
                    if (_endsAt(e, k, start)) return true;
                    why = _shortOf(e, k, "the data ends");
                    return false;
                }
                const auto w = s_words(line);
                size_t at = 0;
                for (const PlyProperty& p : e.properties) {
                    // The last line, cut short, is an instance the file
                    // does not hold whole.
                    if (at >= w.size() && pos_ >= size_ && _endsAt(e, k, start)) return true;
                    if (at >= w.size()) {
                        why = e.name + " " + std::to_string(k + 1) + " of " +
                              std::to_string(e.count) + " (line " + std::to_string(line_) +
                              ") has no value for " + p.name;
                        return false;
                    }
                    if (p.countType == PlyType::None) {
                        ++at;
                        continue;
                    }
                    uint64_t n = 0;
                    if (!s_parseCount(w[at], n) || n > kMaxListLength) {
                        why = e.name + " " + std::to_string(k + 1) + ": the list " + p.name +
                              " has no valid length";
                        return false;
                    }
                    ++at;
                    if (w.size() - at < n && pos_ >= size_ && _endsAt(e, k, start)) return true;
                    if (w.size() - at < n) {
                        why = e.name + " " + std::to_string(k + 1) + " (line " +
                              std::to_string(line_) + "): the list " + p.name + " promises " +
                              std::to_string(n) + " values, the line holds " +
                              std::to_string(w.size() - at);
                        return false;
                    }
                    if (_isIndexList(e, p))
                        for (uint64_t i = 0; i < n; ++i)
                            if (!_index(e, k, std::strtod(std::string(w[at + i]).c_str(), nullptr),
                                        why))
                                return false;
                    at += n;
                }
            }
        }
        return true;
    }

    bool _binaryData(std::string& why) {
        for (PlyElement& e : elements_) {
            // Fixed-size elements are checked in one step.
            bool fixed = true;
            size_t each = 0;
            for (const PlyProperty& p : e.properties) {
                fixed &= p.countType == PlyType::None;
                each += s_plySize(p.type);
            }
            if (fixed) {
                const uint64_t room = (size_ - pos_) / std::max<size_t>(each, 1);
                if (each > 0 && room < e.count) {
                    if (_endsAt(e, room, pos_ + size_t(room * each))) return true;
                    why = _shortOf(e, room, "the data ends");
                    return false;
                }
                pos_ += size_t(e.count * each);
                continue;
            }
            for (uint64_t k = 0; k < e.count; ++k) {
                const size_t start = pos_;
                for (const PlyProperty& p : e.properties) {
                    const size_t countSize =
                        p.countType == PlyType::None ? 0 : s_plySize(p.countType);
                    if (p.countType == PlyType::None) {
                        if (size_ - pos_ < s_plySize(p.type)) {
                            if (_endsAt(e, k, start)) return true;
                            why = _shortOf(e, k, "the data ends");
                            return false;
                        }
                        pos_ += s_plySize(p.type);
                        continue;
                    }
                    if (size_ - pos_ < countSize) {
                        if (_endsAt(e, k, start)) return true;
                        why = _shortOf(e, k, "the data ends");
                        return false;
                    }
                    const int64_t n = s_binaryInteger(data_ + pos_, p.countType, bigEndian_);
                    pos_ += countSize;
                    if (n < 0 || uint64_t(n) > kMaxListLength) {
                        why = e.name + " " + std::to_string(k + 1) + ": the list " + p.name +
                              " has a length of " + std::to_string(n);
                        return false;
                    }
                    const size_t item = s_plySize(p.type);
                    if ((size_ - pos_) / item < uint64_t(n)) {
                        if (_endsAt(e, k, start)) return true;
                        why = _shortOf(e, k, "the data ends");
                        return false;
                    }
                    if (_isIndexList(e, p)) {
                        for (int64_t i = 0; i < n; ++i) {
                            const unsigned char* v = data_ + pos_ + size_t(i) * item;
                            double value = 0;
                            if (s_plyInteger(p.type)) {
                                value = double(s_binaryInteger(v, p.type, bigEndian_));
                            } else {
                                unsigned char b[8];
                                for (size_t j = 0; j < item; ++j)
                                    b[j] = v[bigEndian_ ? item - 1 - j : j];
                                if (item == 4) {
                                    float f;
                                    std::memcpy(&f, b, 4);
                                    value = f;
                                } else {
                                    std::memcpy(&value, b, 8);
                                }
                            }
                            if (!_index(e, k, value, why)) return false;
                        }
                    }
                    pos_ += size_t(n) * item;
                }
            }
        }
        return true;
    }

    // The body ends inside instance `k` of `e`, which starts at byte
    // `start`: with a mend, the file is kept up to there and every count
    // from here on lowered to what it holds. False without a mend.
    bool _endsAt(PlyElement& e, uint64_t k, size_t start) {
        if (!mend_) return false;
        // Faces before the cut were checked against vertices the cut
        // removes: nothing of them could be trusted.
        bool before = true, facesBefore = false, verticesCut = false;
        for (const PlyElement& each : elements_) {
            const bool kept = before && (&each == &e ? k > 0 : each.count > 0);
            before &= &each != &e;
            if (kept)
                for (const PlyProperty& p : each.properties)
                    facesBefore |= _isIndexList(each, p);
            verticesCut |= !before && each.name == "vertex";
        }
        if (facesBefore && verticesCut) return false;
        bool from = false;
        for (PlyElement& each : elements_) {
            from |= &each == &e;
            if (!from) continue;
            declared_.emplace_back(each.name, each.count);
            each.count = &each == &e ? k : 0;
        }
        bodyEnd_ = start;
        return true;
    }

    static std::string _plural(const std::string& name) {
        if (name == "vertex") return "vertices";
        if (name == "face") return "faces";
        return name + " elements";
    }

    void _writeMend() {
        ModelMend& m = *mend_;
        m.header = "ply\n" + formatLine_ + "\n";
        for (const PlyElement& e : elements_) {
            m.header += "element " + e.name + " " + std::to_string(e.count) + "\n";
            for (const PlyProperty& p : e.properties)
                m.header += p.line + "\n";
        }
        m.header += "end_header\n";
        m.bodyBegin = bodyBegin_;
        m.bodyEnd = declared_.empty() ? size_ : bodyEnd_;
        if (!skipped_.empty()) {
            std::string lines;
            for (size_t i = 0; i < skipped_.size(); ++i)
                lines += (i ? ", " : "") + std::to_string(skipped_[i]);
            m.notes.push_back(skipped_.size() == 1
                                  ? "Header line " + lines + " is not PLY and was skipped."
                                  : "Header lines " + lines + " are not PLY and were skipped.");
        }
        if (!declared_.empty()) {
            std::string held;
            for (const auto& [name, count] : declared_) {
                if (count == 0) continue;
                const PlyElement* now = _element(name);
                held += (held.empty() ? "" : ", ") + std::to_string(now ? now->count : 0) + " of " +
                        std::to_string(count) + " " + _plural(name);
            }
            m.notes.push_back("The file ends before its header says: it holds " + held + ".");
        }
    }

    const unsigned char* data_;
    size_t size_, pos_ = 0, line_ = 0;
    ModelMend* mend_ = nullptr;
    bool ascii_ = true, bigEndian_ = false;
    std::string formatLine_;
    std::vector<PlyElement> elements_;
    uint64_t vertexCount_ = 0;
    size_t bodyBegin_ = 0, bodyEnd_ = 0;
    std::vector<int> skipped_;                               // header lines left out
    std::vector<std::pair<std::string, uint64_t>> declared_; // counts lowered, as declared
};

} // namespace

bool checkPlyBytes(const unsigned char* data, size_t size, ModelMend* mend, std::string& why) {
    return PlyChecker(data, size, mend).check(why);
}

} // namespace zul::scene
