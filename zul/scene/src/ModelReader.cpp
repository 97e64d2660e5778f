#include "zul/scene/ModelReader.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <malloc.h>
#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vtkCellData.h>
#include <vtkDoubleArray.h>
#include <vtkFieldData.h>
#include <vtkFloatArray.h>
#include <vtkPointData.h>
#include <vtkPoints.h>
#include <vtkStringArray.h>
#include <vtkTypeInt32Array.h>
#include <vtkTypeInt64Array.h>
#include <vtkUnsignedCharArray.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "../tools/PartChannel.h"
#include "zul/scene/ModelCheck.h"

namespace zul::scene {
namespace {

// An address sanitizer reserves terabytes of address space for its shadow
// memory: under one, the helper runs without the address-space limit.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kLimitAddressSpace = false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kLimitAddressSpace = false;
#else
constexpr bool kLimitAddressSpace = true;
#endif
#else
constexpr bool kLimitAddressSpace = true;
#endif

// The helper program: $ZUL_MODEL_READER when set (a developer's reader),
// else beside the library that holds this code.
std::string s_helperPath() {
    if (const char* own = std::getenv("ZUL_MODEL_READER"); own && *own) return own;
    Dl_info info{};
    if (dladdr(reinterpret_cast<const void*>(&readModel), &info) && info.dli_fname)
        return (std::filesystem::path(info.dli_fname).parent_path() / "zulreadmodel").string();
    return "zulreadmodel";
}

// A scratch folder the helper writes the parts into; removed with what it
// holds when this goes out of scope.
struct ScratchFolder {
    std::string path;
    ~ScratchFolder() {
        if (path.empty()) return;
        std::error_code ec;
        std::filesystem::remove_all(path, ec);
    }
};

// Reads `bytes` at `offset` of the parts file, moving on past them.
bool s_take(int fd, uint64_t& offset, uint64_t size, void* into, uint64_t bytes) {
    if (bytes > size || offset > size - bytes) return false;
    char* at = static_cast<char*>(into);
    for (uint64_t done = 0; done < bytes;) {
        const ssize_t n = ::pread(fd, at + done, size_t(std::min<uint64_t>(bytes - done, 1u << 30)),
                                  off_t(offset + done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += uint64_t(n);
    }
    offset += bytes;
    return true;
}

// One cell kind of a part: its offsets and connectivity, each point index
// within the part's points and each offset past the one before (VTK trusts
// both and reads out of bounds on either).
bool s_takeCells(int fd, uint64_t& offset, uint64_t size, uint64_t cells, uint64_t ids,
                 uint64_t points, vtkSmartPointer<vtkCellArray>& out) {
    if (cells == 0) return ids == 0;
    if (cells > size / 8 || ids > size / 8) return false;
    auto offsets = vtkSmartPointer<vtkTypeInt64Array>::New();
    auto connectivity = vtkSmartPointer<vtkTypeInt64Array>::New();
    offsets->SetNumberOfValues(vtkIdType(cells + 1));
    connectivity->SetNumberOfValues(vtkIdType(ids));
    if (!s_take(fd, offset, size, offsets->GetPointer(0), (cells + 1) * 8) ||
        !s_take(fd, offset, size, connectivity->GetPointer(0), ids * 8))
        return false;
    const vtkTypeInt64* o = offsets->GetPointer(0);
    if (o[0] != 0 || uint64_t(o[cells]) != ids) return false;
    for (uint64_t i = 0; i < cells; ++i)
        if (o[i + 1] < o[i]) return false;
    const vtkTypeInt64* c = connectivity->GetPointer(0);
    for (uint64_t i = 0; i < ids; ++i)
        if (c[i] < 0 || uint64_t(c[i]) >= points) return false;
    out = vtkSmartPointer<vtkCellArray>::New();
    out->SetData(offsets, connectivity);
    return true;
}

// Triangles given as 32-bit point indices, each within the points.
bool s_takeTriangles32(int fd, uint64_t& offset, uint64_t size, uint64_t cells, uint64_t ids,
                       uint64_t points, vtkSmartPointer<vtkCellArray>& out) {
    if (cells == 0 || ids != cells * 3 || ids > size / 4) return false;
    auto connectivity = vtkSmartPointer<vtkTypeInt32Array>::New();
    connectivity->SetNumberOfValues(vtkIdType(ids));
    if (!s_take(fd, offset, size, connectivity->GetPointer(0), ids * 4)) return false;
    const vtkTypeInt32* c = connectivity->GetPointer(0);
    for (uint64_t i = 0; i < ids; ++i)
        if (c[i] < 0 || uint64_t(c[i]) >= points) return false;
    out = vtkSmartPointer<vtkCellArray>::New();
    out->SetData(3, connectivity);
    return true;
}

// Triangles (0, 1, 2), (3, 4, 5), ...
vtkSmartPointer<vtkCellArray> s_triangleSoup(uint64_t triangles) {
    auto offsets = vtkSmartPointer<vtkTypeInt64Array>::New();
    auto connectivity = vtkSmartPointer<vtkTypeInt64Array>::New();
    offsets->SetNumberOfValues(vtkIdType(triangles + 1));
    connectivity->SetNumberOfValues(vtkIdType(triangles * 3));
    vtkTypeInt64* o = offsets->GetPointer(0);
    vtkTypeInt64* c = connectivity->GetPointer(0);
    for (uint64_t i = 0; i <= triangles; ++i)
        o[i] = vtkTypeInt64(i * 3);
    for (uint64_t i = 0; i < triangles * 3; ++i)
        c[i] = vtkTypeInt64(i);
    auto cells = vtkSmartPointer<vtkCellArray>::New();
    cells->SetData(offsets, connectivity);
    return cells;
}

vtkSmartPointer<vtkUnsignedCharArray> s_takeColours(int fd, uint64_t& offset, uint64_t size,
                                                    uint64_t tuples) {
    if (tuples > size / 4) return nullptr;
    auto colours = vtkSmartPointer<vtkUnsignedCharArray>::New();
    colours->SetName("zul_colour");
    colours->SetNumberOfComponents(4);
    colours->SetNumberOfTuples(vtkIdType(tuples));
    return s_take(fd, offset, size, colours->GetPointer(0), tuples * 4) ? colours : nullptr;
}

// The part of the record at `offset` of the parts file.
bool s_takePart(int fd, uint64_t& offset, uint64_t size, ModelPart& part) {
    namespace ch = channel;
    ch::PartRecord record{};
    if (!s_take(fd, offset, size, &record, sizeof record) ||
        std::memcmp(record.magic, ch::kMagic, 4) != 0 || record.points == 0 ||
        record.points > size / 12)
        return false;
    part.name.resize(record.nameBytes);
    if (!s_take(fd, offset, size, part.name.data(), record.nameBytes)) return false;
    if (record.flags & ch::kHasColour) {
        part.hasColour = true;
        for (int i = 0; i < 4; ++i)
            part.rgba[i] =
                std::isfinite(record.rgba[i]) ? std::clamp(record.rgba[i], 0.0, 1.0) : 1.0;
    }
    const uint64_t n = record.points;
    vtkSmartPointer<vtkDataArray> coordinates;
    if (record.flags & ch::kDoublePoints)
        coordinates = vtkSmartPointer<vtkDoubleArray>::New();
    else
        coordinates = vtkSmartPointer<vtkFloatArray>::New();
    coordinates->SetNumberOfComponents(3);
    coordinates->SetNumberOfTuples(vtkIdType(n));
    if (!s_take(fd, offset, size, coordinates->GetVoidPointer(0),
                n * 3 * uint64_t(coordinates->GetDataTypeSize())))
        return false;
    auto data = vtkSmartPointer<vtkPolyData>::New();
    vtkNew<vtkPoints> points;
    points->SetData(coordinates);
    data->SetPoints(points);
    if (record.flags & ch::kNormals) {
        vtkNew<vtkFloatArray> normals;
        normals->SetName("Normals");
        normals->SetNumberOfComponents(3);
        normals->SetNumberOfTuples(vtkIdType(n));
        if (!s_take(fd, offset, size, normals->GetPointer(0), n * 12)) return false;
        data->GetPointData()->SetNormals(normals);
    }
    vtkSmartPointer<vtkUnsignedCharArray> pointColours, cellColours;
    if (record.flags & ch::kPointColours) {
        pointColours = s_takeColours(fd, offset, size, n);
        if (!pointColours) return false;
        data->GetPointData()->SetScalars(pointColours);
    }
    uint64_t cells = 0;
    for (uint64_t c : record.cells) {
        if (c > size) return false;
        cells += c;
    }
    if (record.flags & ch::kCellColours) {
        cellColours = s_takeColours(fd, offset, size, cells);
        if (!cellColours) return false;
    }
    vtkSmartPointer<vtkCellArray> kinds[4];
    for (int k = 0; k < 4; ++k) {
        if (k == 2 && (record.flags & ch::kTriangleSoup)) {
            if (record.cells[2] * 3 != n || record.connectivity[2] != n) return false;
            kinds[2] = s_triangleSoup(n / 3);
            continue;
        }
        if (k == 2 && (record.flags & ch::kTriangles32)) {
            if (!s_takeTriangles32(fd, offset, size, record.cells[2], record.connectivity[2], n,
                                   kinds[2]))
                return false;
            continue;
        }
        if (!s_takeCells(fd, offset, size, record.cells[k], record.connectivity[k], n, kinds[k]))
            return false;
    }
    if (kinds[0]) data->SetVerts(kinds[0]);
    if (kinds[1]) data->SetLines(kinds[1]);
    if (kinds[2]) data->SetPolys(kinds[2]);
    if (kinds[3]) data->SetStrips(kinds[3]);
    if (cellColours) data->GetCellData()->SetScalars(cellColours);
    part.geometry = data;
    // A polygon of n corners is n - 2 triangles.
    part.triangles =
        size_t(record.connectivity[2] - std::min(record.connectivity[2], 2 * record.cells[2]));
    part.points = record.cells[1] == 0 && record.cells[2] == 0 && record.cells[3] == 0
                      ? size_t(record.cells[0])
                      : 0;
    return true;
}

// The parts the helper wrote into the parts file, in order; false with
// `why` when they cannot be read back whole.
// The camera of the record at `offset`: finite, a unit direction, a unit up
// square to it (the helper sends no other), and a view angle or a height.
bool s_takeCamera(int fd, uint64_t& offset, uint64_t size, ModelCamera& camera) {
    channel::CameraRecord record{};
    if (!s_take(fd, offset, size, &record, sizeof record) || record.nameBytes > 4096) return false;
    camera.name.resize(record.nameBytes);
    if (!s_take(fd, offset, size, camera.name.data(), record.nameBytes)) return false;
    double dot = 0, direction = 0, up = 0;
    for (int i = 0; i < 3; ++i) {
        camera.eye[i] = record.eye[i];
        camera.direction[i] = record.direction[i];
        camera.up[i] = record.up[i];
        dot += record.direction[i] * record.up[i];
        direction += record.direction[i] * record.direction[i];
        up += record.up[i] * record.up[i];
        if (!std::isfinite(record.eye[i])) return false;
    }
    camera.orthographic = record.orthographic != 0;
    camera.viewAngle = record.viewAngle;
    camera.parallelScale = record.parallelScale;
    return std::abs(direction - 1) < 1e-6 && std::abs(up - 1) < 1e-6 && std::abs(dot) < 1e-6 &&
           (camera.orthographic ? camera.parallelScale > 0 && std::isfinite(camera.parallelScale)
                                : camera.viewAngle > 0 && camera.viewAngle < 180);
}

bool s_readParts(int fd, Model& model, std::string& why) {
    struct stat st {};
    if (::fstat(fd, &st) != 0) {
        why = "cannot take the geometry back from the reader";
        return false;
    }
    const uint64_t size = uint64_t(st.st_size);
    for (uint64_t offset = 0; offset < size;) {
        char magic[4] = {};
        uint64_t peek = offset;
        if (s_take(fd, peek, size, magic, 4) && std::memcmp(magic, channel::kCameraMagic, 4) == 0) {
            ModelCamera camera;
            if (!s_takeCamera(fd, offset, size, camera)) {
                why = "cannot take the cameras back from the reader (they are damaged)";
                return false;
            }
            model.cameras.push_back(std::move(camera));
            continue;
        }
        ModelPart part;
        if (!s_takePart(fd, offset, size, part)) {
            why = "cannot take the geometry back from the reader (its parts are damaged)";
            return false;
        }
        model.parts.push_back(std::move(part));
    }
    if (model.parts.empty()) {
        why = "no geometry in it";
        return false;
    }
    return true;
}

// Hands each progress line of the helper ("progress PERMILLE PHASE") on and
// keeps its notes ("note SENTENCE"; a few at most).
void s_progressLines(std::string& pending, const ReadProgress& progress,
                     std::vector<std::string>& notes) {
    for (size_t eol; (eol = pending.find('\n')) != std::string::npos; pending.erase(0, eol + 1)) {
        const std::string line = pending.substr(0, eol);
        if (line.rfind("note ", 0) == 0) {
            if (notes.size() < 16) notes.push_back(line.substr(5, 1000));
            continue;
        }
        int permille = 0, used = 0;
        if (progress && std::sscanf(line.c_str(), "progress %d %n", &permille, &used) == 1 &&
            used > 0)
            progress(std::clamp(permille, 0, 1000) / 1000.0, line.substr(size_t(used)));
    }
    if (pending.size() > 4096) pending.clear(); // not a line of ours
}

// What the helper said on standard error: its last line.
std::string s_lastLine(std::string text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
        text.pop_back();
    const size_t at = text.rfind('\n');
    return at == std::string::npos ? text : text.substr(at + 1);
}

} // namespace

size_t Model::triangles() const {
    size_t n = 0;
    for (const ModelPart& p : parts)
        n += p.triangles;
    return n;
}

size_t Model::points() const {
    size_t n = 0;
    for (const ModelPart& p : parts)
        n += p.points;
    return n;
}

std::string modelReaderPath() {
    return s_helperPath();
}

void giveFreedModelMemoryBack() {
    ::mallopt(M_MMAP_THRESHOLD, 1 << 20);
}

bool readModel(const std::string& path, Model& model, std::string& why,
               const ReadProgress& progress, const std::atomic<bool>* stop) {
    const std::string name = "Cannot read " + path + ": ";
    std::error_code ec;
    if (!std::filesystem::exists(path, ec)) {
        why = name + "no such file";
        return false;
    }
    // Opened once, without waiting for a writer, and only its first bytes
    // read: a named pipe or a device is refused here, and the structure of
    // the file is checked in the helper, where a file that shrinks under a
    // mapping cannot take this process down.
    ModelFormat format = ModelFormat::Unknown;
    {
        const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
        if (fd < 0) {
            why = name + std::strerror(errno);
            return false;
        }
        struct stat st {};
        if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
            ::close(fd);
            why = name + "not a regular file" + fileKindNote(st.st_mode);
            return false;
        }
        unsigned char head[4096];
        const ssize_t n = ::pread(fd, head, sizeof head, 0);
        ::close(fd);
        if (st.st_size == 0) {
            why = name + "no geometry in it (the file is empty)";
            return false;
        }
        const size_t got = n > 0 ? size_t(n) : 0;
        format = modelFormatOfContent(head, got, path);
        // A picture or an archive given a model's name is told apart by its
        // first bytes before any reader sees it (a 3MF model is a ZIP
        // archive, and known as one).
        if (const std::string other = foreignFileKind(head, got);
            !other.empty() && format != ModelFormat::ThreeMf) {
            why = name + "not " +
                  (format == ModelFormat::Unknown ? std::string("a model file")
                                                  : modelFileKind(format)) +
                  ": it starts like " + other;
            return false;
        }
    }
    if (format == ModelFormat::Unknown) {
        why = name + "not a model file this viewer reads (it reads " + modelFormatList() + ")";
        return false;
    }

    const char* tmp = std::getenv("TMPDIR");
    std::string scratchName = std::string(tmp && *tmp ? tmp : "/tmp") + "/zulmodel-XXXXXX";
    if (!::mkdtemp(scratchName.data())) {
        why = name + "cannot make a scratch folder: " + std::strerror(errno);
        return false;
    }
    ScratchFolder scratch{scratchName};
    // The helper writes the parts into a memory file it gets as descriptor
    // 3: no disk, and no format to parse on the way back.
    struct Descriptor {
        int fd;
        ~Descriptor() {
            if (fd >= 0) ::close(fd);
        }
    } parts{::memfd_create("zul-model-parts", MFD_CLOEXEC)};
    if (parts.fd < 0) {
        why = name + "cannot start the reader: " + std::strerror(errno);
        return false;
    }

    int errPipe[2], outPipe[2];
    if (::pipe2(errPipe, O_CLOEXEC) != 0) {
        why = name + "cannot start the reader: " + std::strerror(errno);
        return false;
    }
    if (::pipe2(outPipe, O_CLOEXEC) != 0) {
        ::close(errPipe[0]);
        ::close(errPipe[1]);
        why = name + "cannot start the reader: " + std::strerror(errno);
        return false;
    }
    const std::string helper = s_helperPath();
    // Everything the child needs is made before fork: between fork and exec
    // it calls only async-signal-safe functions.
    const char* argv[] = {helper.c_str(), path.c_str(), scratch.path.c_str(), nullptr};
    long pages = ::sysconf(_SC_PHYS_PAGES), pageSize = ::sysconf(_SC_PAGESIZE);
    rlim_t memory =
        pages > 0 && pageSize > 0 ? rlim_t(pages) * rlim_t(pageSize) / 2 : rlim_t(8) << 30;
    const pid_t parent = ::getpid();
    const pid_t child = ::fork();
    if (child < 0) {
        for (int fd : {errPipe[0], errPipe[1], outPipe[0], outPipe[1]})
            ::close(fd);
        why = name + "cannot start the reader: " + std::strerror(errno);
        return false;
    }
    if (child == 0) {
        // The reader dies with the program that asked for the model (a
        // thumbnailer killed by its file manager leaves nothing behind).
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parent) _exit(127);
        const int devNull = ::open("/dev/null", O_RDWR);
        if (devNull >= 0) ::dup2(devNull, 0);
        ::dup2(outPipe[1], 1);
        ::dup2(errPipe[1], 2);
        if (parts.fd == channel::kPartsDescriptor)
            ::fcntl(parts.fd, F_SETFD, 0); // kept across exec
        else
            ::dup2(parts.fd, channel::kPartsDescriptor);
        const struct rlimit noCore { 0, 0 }, address{memory, memory};
        ::setrlimit(RLIMIT_CORE, &noCore);
        if (kLimitAddressSpace) ::setrlimit(RLIMIT_AS, &address);
        ::execv(argv[0], const_cast<char* const*>(argv));
        _exit(127);
    }
    ::close(errPipe[1]);
    ::close(outPipe[1]);
    std::string err, out;
    std::vector<std::string> notes;
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::seconds(kModelReadSeconds);
    bool timedOut = false, stopped = false;
    pollfd p[2] = {{errPipe[0], POLLIN, 0}, {outPipe[0], POLLIN, 0}};
    while (p[0].fd >= 0 || p[1].fd >= 0) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            timedOut = true;
            break;
        }
        if (stop && stop->load()) {
            stopped = true;
            break;
        }
        const int ready = ::poll(p, 2, int(std::min<long long>(left.count(), 100)));
        if (ready < 0 && errno != EINTR) break;
        if (ready <= 0) continue;
        for (int k = 0; k < 2; ++k) {
            if (p[k].fd < 0 || !(p[k].revents & (POLLIN | POLLHUP | POLLERR))) continue;
            char buf[4096];
            const ssize_t n = ::read(p[k].fd, buf, sizeof buf);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) {
                ::close(p[k].fd);
                p[k].fd = -1;
                continue;
            }
            if (k == 0) {
                err.append(buf, size_t(n));
                if (err.size() > 65536) err.erase(0, err.size() - 16384);
            } else {
                out.append(buf, size_t(n));
                s_progressLines(out, progress, notes);
            }
        }
    }
    for (const pollfd& q : p)
        if (q.fd >= 0) ::close(q.fd);
    if (timedOut || stopped) ::kill(child, SIGKILL);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (stopped) {
        why = name + kReadStopped;
        return false;
    }
    if (timedOut) {
        why = name + "the reader did not finish within " + std::to_string(kModelReadSeconds) + " s";
        return false;
    }
    if (WIFSIGNALED(status)) {
        why = name + "not " + modelFileKind(format) +
              " that can be read: its reader failed on it (signal " +
              std::to_string(WTERMSIG(status)) +
              "), so the file is damaged, or too large for the memory limit";
        return false;
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        const std::string said = s_lastLine(err);
        if (WIFEXITED(status) && WEXITSTATUS(status) == 127)
            why = name + "cannot run the model reader " + helper;
        else
            why = name + (said.empty() ? "the reader failed (exit status " +
                                             std::to_string(WEXITSTATUS(status)) + ")"
                                       : said);
        return false;
    }
    Model read;
    if (!s_readParts(parts.fd, read, why)) {
        why = name + why;
        return false;
    }
    const std::string stem = std::filesystem::path(path).filename().string();
    for (size_t i = 0; i < read.parts.size(); ++i)
        if (read.parts[i].name.empty())
            read.parts[i].name = read.parts.size() == 1 ? stem : stem + " " + std::to_string(i + 1);
    read.notes = std::move(notes);
    model = std::move(read);
    return true;
}

} // namespace zul::scene
