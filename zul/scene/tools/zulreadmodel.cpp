// zulreadmodel MODEL FOLDER: the helper process in which the scene reads a
// model file (see ModelReader.h). Hands the model's parts back as
// ReadParts.h describes and exits 0, or prints one line saying what is wrong
// and exits 1; FOLDER takes its scratch files. A reader that crashes takes
// only this process down.
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vtkAlgorithm.h>
#include <vtkCallbackCommand.h>
#include <vtkCommand.h>
#include <vtkNew.h>
#include <vtkObject.h>
#include <vtkPLYReader.h>
#include <vtkPolyData.h>
#include <vtkSTLReader.h>
#include <vtkSmartPointer.h>
#include <vtkVersion.h>
#include <vtkXMLPolyDataReader.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "PartChannel.h"
#include "ReadParts.h"
#include "zul/scene/ModelCheck.h"

namespace {
// Where progress lines go: the standard output this process was given.
// Anything a library prints to standard output goes to /dev/null instead,
// so that it can never be taken for a progress line.
FILE* s_progress = nullptr;
} // namespace

namespace zul::scene::helper {

void reportProgress(double fraction, const char* phase) {
    // A new figure is always said; a new phase at the same figure (solid
    // 2,001 of 2,744) at most ten times a second.
    static int last = -1;
    static std::string lastPhase;
    static auto lastTime = std::chrono::steady_clock::time_point();
    const int permille = std::clamp(int(fraction * 1000), 0, 1000);
    const auto now = std::chrono::steady_clock::now();
    if (!s_progress || (permille == last &&
                        (lastPhase == phase || now - lastTime < std::chrono::milliseconds(100))))
        return;
    last = permille;
    lastPhase = phase;
    lastTime = now;
    std::fprintf(s_progress, "progress %d %s\n", permille, phase);
    std::fflush(s_progress);
}

void reportNote(const std::string& sentence) {
    if (!s_progress) return;
    std::string line = sentence;
    std::replace(line.begin(), line.end(), '\n', ' ');
    std::fprintf(s_progress, "note %s\n", line.c_str());
    std::fflush(s_progress);
}

} // namespace zul::scene::helper

namespace {

std::string s_error; // the VTK reader's first error message

void s_onError(vtkObject*, unsigned long, void*, void* data) {
    if (s_error.empty() && data) s_error = static_cast<const char*>(data);
}

// Ends without running destructors or exit handlers: nothing is left to
// tidy, and a sanitizer's leak report about the libraries' process-wide
// blocks would be taken for a failure.
[[noreturn]] void s_finish(int code, const std::string& message = {}) {
    if (!message.empty()) std::fprintf(stderr, "%s\n", message.c_str());
    if (s_progress) std::fflush(s_progress);
    std::fflush(stderr);
    _exit(code);
}

// STL, PLY and VTP through VTK's readers: one part, named by the caller.
bool s_readWithVtk(const std::string& path, zul::scene::ModelFormat format,
                   zul::scene::helper::PartSink& sink, std::string& why) {
    using zul::scene::ModelFormat;
    vtkSmartPointer<vtkAlgorithm> reader;
    if (format == ModelFormat::Stl) {
        zul::scene::helper::reportProgress(0.1, "reading");
        vtkSmartPointer<vtkPolyData> fast;
        if (zul::scene::helper::readBinaryStl(path, fast)) {
            if (fast->GetNumberOfPoints() == 0) {
                why = "no geometry in it (no triangles)";
                return false;
            }
            zul::scene::helper::OutPart part;
            part.geometry = fast;
            return sink.add(part, why);
        }
        auto r = vtkSmartPointer<vtkSTLReader>::New();
        r->SetFileName(path.c_str());
        reader = r;
    } else if (format == ModelFormat::Ply) {
        auto r = vtkSmartPointer<vtkPLYReader>::New();
        r->SetFileName(path.c_str());
        reader = r;
    } else {
        auto r = vtkSmartPointer<vtkXMLPolyDataReader>::New();
        r->SetFileName(path.c_str());
        reader = r;
    }
    vtkNew<vtkCallbackCommand> onError;
    onError->SetCallback(&s_onError);
    reader->AddObserver(vtkCommand::ErrorEvent, onError);
    zul::scene::helper::reportProgress(0.1, "reading");
    reader->Update();
    vtkPolyData* data = vtkPolyData::SafeDownCast(reader->GetOutputDataObject(0));
    if (!data || data->GetNumberOfPoints() == 0) {
        // VTK's own wording is for its developers: the user learns which
        // kind of file this is not, or that it holds nothing to draw.
        why = s_error.empty() ? "no geometry in it (the file holds no points)"
                              : "not " + zul::scene::modelFileKind(format) + " that can be read";
        return false;
    }
    zul::scene::helper::OutPart part;
    part.geometry = vtkSmartPointer<vtkPolyData>::New();
    part.geometry->ShallowCopy(data);
    return sink.add(part, why);
}

// The file shrank while it was mapped: said, and the helper ends.
void s_onBus(int) {
    static const char said[] = "the file changed while it was being read (it is shorter now)\n";
    if (::write(2, said, sizeof said - 1) < 0) {
    }
    _exit(1);
}

// Writes the mended file: the mend's header, then the body bytes it keeps.
bool s_writeMended(const std::string& to, const zul::scene::ModelMend& mend,
                   const unsigned char* data, std::string& why) {
    std::ofstream out(to, std::ios::binary | std::ios::trunc);
    out.write(mend.header.data(), std::streamsize(mend.header.size()));
    if (mend.bodyEnd > mend.bodyBegin)
        out.write(reinterpret_cast<const char*>(data + mend.bodyBegin),
                  std::streamsize(mend.bodyEnd - mend.bodyBegin));
    out.close();
    if (!out) {
        why = "cannot write a mended copy of the file in the scratch folder";
        return false;
    }
    return true;
}

// The header's promises against the bytes that follow (ModelCheck), over a
// mapping of the file. Where a partial picture beats a refusal, the file is
// mended instead: its notes are reported, and when the mend needs other
// bytes than the file's, `path` becomes a mended copy in `scratch`.
bool s_checkStructure(int fd, size_t size, zul::scene::ModelFormat format,
                      const std::string& scratch, std::string& path, std::string& why) {
    if (size == 0) {
        why = "no geometry in it (the file is empty)";
        return false;
    }
    void* map = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
    if (map == MAP_FAILED) {
        why = std::strerror(errno);
        return false;
    }
    struct sigaction bus {};
    bus.sa_handler = &s_onBus;
    ::sigaction(SIGBUS, &bus, nullptr);
    const auto* data = static_cast<const unsigned char*>(map);
    bool ok = zul::scene::checkModelBytes(format, data, size, why);
    if (!ok) {
        zul::scene::ModelMend mend;
        std::string mendWhy;
        if (zul::scene::mendModelBytes(format, data, size, mend, mendWhy) && !mend.notes.empty()) {
            ok = true;
            if (!mend.header.empty()) {
                path = scratch + "/mended" + std::filesystem::path(path).extension().string();
                ok = s_writeMended(path, mend, data, why);
            }
            if (ok)
                for (const std::string& note : mend.notes)
                    zul::scene::helper::reportNote(note);
        }
    }
    ::munmap(map, size);
    return ok;
}

// VTK's PLY reader casts colours stored as floating-point numbers (0..1)
// to bytes, which draws them black; Assimp's scales them. True when the
// header of the PLY `head` declares such a colour.
bool s_plyHasFloatColours(const unsigned char* head, size_t size) {
    const std::string text(reinterpret_cast<const char*>(head), size);
    const size_t end = text.find("end_header");
    std::istringstream lines(text.substr(0, end));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string keyword, type, name;
        words >> keyword >> type >> name;
        if (keyword != "property") continue;
        const bool floating =
            type == "float" || type == "double" || type == "float32" || type == "float64";
        if (floating && (name == "red" || name == "r" || name == "diffuse_red")) return true;
    }
    return false;
}

// OBJ and glTF files larger than this go to our own plain readers first;
// smaller ones, whose reading takes no time, keep Assimp's reading whatever
// they hold.
constexpr uintmax_t kPlainReaderBytes = 16u << 20;

bool s_large(const std::string& path) {
    std::error_code ec;
    const uintmax_t size = std::filesystem::file_size(path, ec);
    return !ec && size > kPlainReaderBytes;
}

// Reads `path` with the reader for `format`. A reader library that throws
// (a JSON library inside one does, on a value of the wrong type) has its
// exception turned into a refusal rather than an abort.
bool s_read(const std::string& path, zul::scene::ModelFormat format, const unsigned char* head,
            size_t got, zul::scene::helper::PartSink& sink, std::string& why) {
    using zul::scene::ModelFormat;
    bool ok = false;
    try {
        switch (format) {
        case ModelFormat::Ply: {
            bool handled = false;
            ok = zul::scene::helper::readPlainPly(path, sink, why, handled);
            if (handled) break;
            ok = s_plyHasFloatColours(head, got)
                     ? zul::scene::helper::readMeshFile(path, format, sink, why)
                     : s_readWithVtk(path, format, sink, why);
            break;
        }
        case ModelFormat::Stl:
        case ModelFormat::Vtp:
            ok = s_readWithVtk(path, format, sink, why);
            break;
        case ModelFormat::Step:
        case ModelFormat::Iges:
            ok = zul::scene::helper::readCadFile(path, format == ModelFormat::Iges, sink, why);
            break;
        case ModelFormat::Gltf:
            if (s_large(path)) {
                bool handled = false;
                ok = zul::scene::helper::readPlainGltf(path, sink, why, handled);
                if (handled) break; // its cameras too
            }
            // Assimp's schema check refuses some files that VTK's reader draws
            // (a number written where a string belongs, an unknown extension).
            ok = zul::scene::helper::readMeshFile(path, format, sink, why);
            if (!ok && sink.count() == 0) {
                std::string vtkWhy;
                ok = zul::scene::helper::readGltfWithVtk(path, sink, vtkWhy);
            }
            if (ok) ok = zul::scene::helper::readGltfCameras(path, sink, why);
            break;
        case ModelFormat::Vrml:
            ok = zul::scene::helper::readVrmlFile(path, sink, why);
            break;
        case ModelFormat::Obj:
            // A large plain OBJ is read without Assimp (see readPlainObj).
            if (s_large(path)) {
                bool handled = false;
                ok = zul::scene::helper::readPlainObj(path, sink, why, handled);
                if (handled) break;
            }
            ok = zul::scene::helper::readMeshFile(path, format, sink, why);
            break;
        case ModelFormat::Dxf:
        case ModelFormat::ThreeMf:
        case ModelFormat::Collada:
        case ModelFormat::Fbx:
        case ModelFormat::Off:
        case ModelFormat::ThreeDs:
            ok = zul::scene::helper::readMeshFile(path, format, sink, why);
            break;
        case ModelFormat::Unknown:
            why = "not a model file this viewer reads";
            break;
        }
    } catch (const std::exception&) {
        why = "not " + zul::scene::modelFileKind(format) + " that can be read";
        return false;
    }
    return ok;
}

// A refusal says first what the file is not (or that it holds nothing), then
// how it is damaged.
std::string s_whatItIsNot(zul::scene::ModelFormat format, const std::string& why) {
    if (why.rfind("not ", 0) == 0 || why.rfind("no ", 0) == 0) return why;
    return "not " + zul::scene::modelFileKind(format) + " that can be read: " + why;
}

} // namespace

int main(int argc, char** argv) {
    // The libraries that read the models, one "NAME VERSION" a line.
    if (argc == 2 && std::string_view(argv[1]) == "--versions") {
        std::printf("OpenCASCADE %s\nAssimp %s\nVTK %s\n",
                    zul::scene::helper::cadLibraryVersion().c_str(),
                    zul::scene::helper::meshLibraryVersion().c_str(), vtkVersion::GetVTKVersion());
        return 0;
    }
    if (argc != 3) s_finish(2, "usage: zulreadmodel MODEL FOLDER | --versions");
    vtkObject::GlobalWarningDisplayOff();
    if (const int out = ::dup(1); out >= 0) {
        s_progress = ::fdopen(out, "w");
        if (const int devNull = ::open("/dev/null", O_WRONLY); devNull >= 0) {
            ::dup2(devNull, 1);
            ::close(devNull);
        }
    }
    std::string path = argv[1];
    unsigned char head[4096];
    size_t got = 0;
    using zul::scene::ModelFormat;
    ModelFormat format = ModelFormat::Unknown;
    {
        // Opened once, without waiting for a writer: a named pipe or a
        // device is refused, never read.
        const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
        if (fd < 0) s_finish(1, std::string("cannot open it: ") + std::strerror(errno));
        struct stat st {};
        if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode))
            s_finish(1, "not a regular file" + zul::scene::fileKindNote(st.st_mode));
        const ssize_t n = ::pread(fd, head, sizeof head, 0);
        got = n > 0 ? size_t(n) : 0;
        format = zul::scene::modelFormatOfContent(head, got, path);
        // The structure is checked here, in the helper: a file that shrinks
        // under the mapping raises SIGBUS in this process only, which says so.
        std::string why;
        if (!s_checkStructure(fd, size_t(st.st_size), format, argv[2], path, why))
            s_finish(1, s_whatItIsNot(format, why));
        ::close(fd);
    }
    // The parts go to the memory file the caller passed, else (the helper
    // run by hand) into the folder.
    int partsFd = zul::scene::channel::kPartsDescriptor;
    struct stat given {};
    const int mode = ::fcntl(partsFd, F_GETFL);
    if (mode < 0 || (mode & O_ACCMODE) == O_RDONLY || ::fstat(partsFd, &given) != 0 ||
        !S_ISREG(given.st_mode)) {
        const std::string file = std::string(argv[2]) + "/parts";
        partsFd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        if (partsFd < 0) s_finish(1, "cannot write " + file + ": " + std::strerror(errno));
    }
    zul::scene::helper::PartSink sink(partsFd);
    std::string why;
    bool ok = false;
    ok = s_read(path, format, head, got, sink, why);
    if (ok) ok = sink.finish(why);
    if (ok && sink.count() == 0) {
        ok = false;
        why = "no geometry in it";
    }
    if (!ok) s_finish(1, s_whatItIsNot(format, why));
    zul::scene::helper::reportProgress(1, "done");
    s_finish(0);
}
