// The view cube in a corner of the 3D view: VTK's camera orientation
// widget, whose handles, when clicked, do not turn the camera themselves
// but name the alignment to the viewer (which runs it through the module,
// so a stored view of that name still wins, and the transition follows).
// Its handle marked +X shows the model seen from +X: the eye on the +X
// side, looking along -X.
#pragma once

#include <functional>

#include <vtkCameraOrientationWidget.h>

namespace zul::viewer {

class CViewCube : public vtkCameraOrientationWidget {
public:
    static CViewCube* New();
    vtkTypeMacro(CViewCube, vtkCameraOrientationWidget);

    // Called with the world axis (0 X, 1 Y, 2 Z) and side (+1, -1) of the
    // clicked handle: the side the eye is to look from.
    std::function<void(int axis, int side)> onHandle;
    // What a click on the handle of `axis` and `side` asks for (tests).
    void Click(int axis, int side) {
        if (onHandle) onHandle(axis, side);
    }

protected:
    CViewCube();
    static void EndSelect(vtkAbstractWidget* widget);
};

} // namespace zul::viewer
