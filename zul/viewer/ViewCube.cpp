#include "ViewCube.h"

#include <vtkCallbackCommand.h>
#include <vtkCameraInterpolator.h>
#include <vtkCameraOrientationRepresentation.h>
#include <vtkCommand.h>
#include <vtkObjectFactory.h>
#include <vtkWidgetCallbackMapper.h>
#include <vtkWidgetEvent.h>

namespace zul::viewer {

vtkStandardNewMacro(CViewCube);

CViewCube::CViewCube() {
    // The release of a handle comes here instead of to the widget's own
    // handler, which would turn the camera behind the module's back.
    CallbackMapper->SetCallbackMethod(vtkCommand::LeftButtonReleaseEvent, vtkWidgetEvent::EndSelect,
                                      this, CViewCube::EndSelect);
    AnimateOff();
}

void CViewCube::EndSelect(vtkAbstractWidget* widget) {
    auto* self = static_cast<CViewCube*>(widget);
    if (self->WidgetState != WidgetStateType::Active) return;
    auto* rep = vtkCameraOrientationRepresentation::SafeDownCast(self->WidgetRep);
    self->WidgetState = WidgetStateType::Hot;
    const int axis = rep ? rep->GetPickedAxis() : -1, dir = rep ? rep->GetPickedDir() : -1;
    if (rep)
        rep->ApplyInteractionState(
            vtkCameraOrientationRepresentation::InteractionStateType::Hovering);
    self->ReleaseFocus();
    self->EventCallbackCommand->SetAbortFlag(1);
    self->EndInteraction();
    self->InvokeEvent(vtkCommand::EndInteractionEvent, nullptr);
    // Handle direction 0 is the axis' positive end, 1 its negative end.
    if (axis >= 0 && axis < 3 && (dir == 0 || dir == 1)) self->Click(axis, dir == 0 ? 1 : -1);
    self->Render();
}

} // namespace zul::viewer
