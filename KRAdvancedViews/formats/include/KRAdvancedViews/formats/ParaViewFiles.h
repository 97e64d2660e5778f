// ParaView's camera files, for views that go to and come from that tool:
// a camera configuration (".pvcc", one camera) and a custom viewpoints file
// (".pvcvbc", named cameras). Hosts read and write them; the module's own
// Save and Load know only its view files.
#pragma once

#include <string>
#include <vector>

#include "KRAdvancedViews/IViewManager.h"
#include "KRAdvancedViews/formats/ViewRecord.h"

namespace krav::format {

// A camera as ParaView's render view holds one.
struct ParaViewCamera {
    double position[3] = {0, 0, 1};
    double focalPoint[3] = {0, 0, 0};
    double viewUp[3] = {0, 1, 0};
    double centerOfRotation[3] = {0, 0, 0};
    double viewAngle = 30;    // degrees, vertical
    double parallelScale = 1; // half the height a parallel view shows
    bool parallelProjection = false;
};

struct NamedCamera {
    std::string name;
    ParaViewCamera camera;
};

// The sphere a view holding a direction only is fitted to when it becomes a
// camera (the open model's, when there is one).
struct FitSphere {
    double centre[3] = {0, 0, 0};
    double radius = 0; // none: the camera looks at the centre from one unit away
};

// A stored view as a camera. The parallel scale is what shows, at the
// look-at point, the height the view's angle shows there, so a view
// switched between perspective and parallel keeps its size. A view that
// holds a direction only (no look-from and look-at) is fitted to `fit`;
// `directionOnly` says so.
ParaViewCamera ParaViewCameraOf(const FullViewInfo& info, const FitSphere& fit,
                                bool& directionOnly);
// A camera as a stored view: look-from, look-at and up as they stand (to
// float precision); a parallel camera keeps its type, its scale becoming
// the angle that shows that height at its focal point.
FullViewInfo ViewOfParaViewCamera(const ParaViewCamera& camera);

// The text of a ".pvcc" file holding `camera`, as ParaView writes one.
std::string PvccText(const ParaViewCamera& camera);
// Reads a ".pvcc" file's bytes. False with `why` (one sentence naming the
// property at fault) when they are not a camera configuration, or a
// property is missing, short or not finite.
bool ParsePvcc(const std::string& bytes, ParaViewCamera& camera, std::string& why);

// ParaView shows at most this many custom viewpoints (it ignores the rest
// of a file).
inline constexpr size_t kParaViewMaxViewpoints = 30;
// The text of a ".pvcvbc" file: one button per camera, its name as the
// button's tool tip. False with `why` naming a view whose name is not
// UTF-8 or holds control characters, which an XML file cannot hold.
bool PvcvbcText(const std::vector<NamedCamera>& cameras, std::string& text, std::string& why);
// Reads a ".pvcvbc" file's bytes: the buttons that hold a camera, named by
// their tool tips. False with `why` when they are not a custom viewpoints
// file; an unassigned button, or one whose camera does not read, is left out
// with a sentence in `notes`.
bool ParsePvcvbc(const std::string& bytes, std::vector<NamedCamera>& cameras,
                 std::vector<std::string>& notes, std::string& why);

// Which of ParaView's camera files `path` is, by its extension (any case),
// or by `type` ("pvcc", "pvcvbc") when that is given.
enum class ParaViewFileKind { None, CameraConfiguration, CustomViewpoints };
ParaViewFileKind ParaViewFileKindOf(const std::string& path, const std::string& type = {});

// The views of a ParaView camera file on disk: a configuration's one
// camera named after the file's stem, or the named cameras of a custom
// viewpoints file. False with `why` when the file cannot be read or is not
// such a file; what was left out of it goes to `notes`.
bool ReadParaViewViews(const std::string& path, ParaViewFileKind kind,
                       std::vector<NamedRecord>& views, std::vector<std::string>& notes,
                       std::string& why);
// Writes `views` to a ParaView camera file (a configuration takes exactly
// one), replacing it whole or leaving it as it was. Views holding a
// direction only are fitted to `fit` and named in `directionOnly`.
bool WriteParaViewViews(const std::string& path, ParaViewFileKind kind,
                        const std::vector<NamedRecord>& views, const FitSphere& fit,
                        std::vector<std::string>& directionOnly, std::string& why);

// Adds each view to `store`, replacing a stored view of the same name, all
// in one registry transaction: every view is stored, or none. S_OK; else
// the failure, with `failed` naming the view that could not be stored.
HRESULT StoreViewsReplacing(IViewManager2* store, const std::vector<NamedRecord>& views,
                            std::string& failed);

} // namespace krav::format
