// CAdvancedViewsModuleMgr: the commands of its menus. The step commands
// (align, rotate, move) are a table; the dialogs, the align drop-down and
// fit are handled one by one; any other id is a stored view of the view
// menu.
#include "AdvancedViewsModuleMgr.h"
#include "Trace.h"
#include "resources/StringTable.h"

namespace {

enum class Step { Align, Rotate, Translate };

struct StepCommand {
    UINT id;
    Step step;
    AxisEnum axis;
    const char* alignName; // the stored view that wins over an alignment
    unsigned alignNameId;  // or its string id (the isometric views' names are translated)
};

using namespace krav::ids;
constexpr StepCommand kStepCommands[] = {
    {kRotateClockwise, Step::Rotate, PositiveZ, nullptr, 0},
    {kRotateCounterclockwise, Step::Rotate, NegativeZ, nullptr, 0},
    {kRotateDown, Step::Rotate, NegativeX, nullptr, 0},
    {kRotateLeft, Step::Rotate, PositiveY, nullptr, 0},
    {kRotateRight, Step::Rotate, NegativeY, nullptr, 0},
    {kRotateUp, Step::Rotate, PositiveX, nullptr, 0},
    {kAlignPlusIsometric, Step::Align, PositiveIsometric, nullptr, IDS_POSITIVE_ISOMETRIC},
    {kAlignMinusIsometric, Step::Align, NegativeIsometric, nullptr, IDS_NEGATIVE_ISOMETRIC},
    {kAlignPlusX, Step::Align, PositiveX, "+X", 0},
    {kAlignMinusX, Step::Align, NegativeX, "-X", 0},
    {kAlignPlusY, Step::Align, PositiveY, "+Y", 0},
    {kAlignMinusY, Step::Align, NegativeY, "-Y", 0},
    {kAlignPlusZ, Step::Align, PositiveZ, "+Z", 0},
    {kAlignMinusZ, Step::Align, NegativeZ, "-Z", 0},
    {kMovePlusY, Step::Translate, PositiveY, nullptr, 0},
    {kMoveMinusY, Step::Translate, NegativeY, nullptr, 0},
    {kMoveMinusX, Step::Translate, NegativeX, nullptr, 0},
    {kMovePlusX, Step::Translate, PositiveX, nullptr, 0},
    {kMoveMinusZ, Step::Translate, NegativeZ, nullptr, 0},
    {kMovePlusZ, Step::Translate, PositiveZ, nullptr, 0},
};

const StepCommand* s_stepCommand(UINT id) {
    for (const StepCommand& c : kStepCommands)
        if (c.id == id) return &c;
    return nullptr;
}

} // namespace

HRESULT CAdvancedViewsModuleMgr::OnCommand(UINT id) {
    KRAV_TRACE("CAdvancedViewsModuleMgr::OnCommand");
    switch (id) {
    case kAlignDropdown: {
        if (!m_menuManager) return E_FAIL;
        std::vector<UINT> disabled;
        for (const auto& [cmd, on] : m_alignEnabled)
            if (!on) disabled.push_back(cmd);
        UINT chosen = 0;
        const HRESULT hr = m_menuManager->TrackPopupMenu(
            m_moduleId, kMenuAlign, disabled.data(), static_cast<UINT>(disabled.size()), &chosen);
        if (FAILED(hr)) return hr;
        return chosen ? OnCommand(chosen) : S_OK;
    }
    case kControlDialog: {
        zul::com::ComPtr<IViewNavigator2> nav2;
        if (!m_navigator || FAILED(m_navigator.As(nav2))) return S_OK;
        m_controlDialogShown = !m_controlDialogShown;
        HRESULT hr = S_OK;
        if (m_controlDialogShown) {
            nav2->DlgSetViewEditButtonState(!m_editDialogShown);
            hr = nav2->DlgShow(1);
        } else {
            hr = nav2->DlgShow(0);
        }
        if (FAILED(hr)) m_controlDialogShown = !m_controlDialogShown;
        m_closeControlDialog = m_controlDialogShown;
        return hr;
    }
    case kEditDialog: {
        m_editDialogShown = !m_editDialogShown;
        if (m_dialog) m_dialog->Show(m_editDialogShown);
        m_closeEditDialog = m_editDialogShown;
        zul::com::ComPtr<IViewNavigator2> nav2;
        if (m_navigator && SUCCEEDED(m_navigator.As(nav2)))
            nav2->DlgSetViewEditButtonState(!m_editDialogShown);
        return S_OK;
    }
    case kFitAll: {
        if (!m_commandService) {
            if (!m_site || !m_frame) return E_FAIL;
            const HRESULT hr = m_frame.As(m_commandService);
            if (FAILED(hr)) return hr;
        }
        return m_commandService->ExecuteCommand(kHostFitAll);
    }
    default:
        break;
    }
    const StepCommand* command = s_stepCommand(id);
    if (!command) {
        std::string name;
        if (_getViewName(id, name) == S_OK && m_viewMenuEnabled[id - kFirstView] && m_store)
            return m_store->ShowView(name.c_str());
        return S_OK;
    }
    if (!m_navigator) return S_OK; // a command without a navigator does nothing
    switch (command->step) {
    case Step::Align: {
        // A stored view of the same name wins over the computed alignment.
        const std::string alignName =
            command->alignName ? command->alignName : krav::LoadModuleString(command->alignNameId);
        auto store2 = _store2();
        FullViewInfo info;
        if (store2 && store2->GetViewInfo(alignName.c_str(), &info) == S_OK &&
            SUCCEEDED(m_store->ShowView(alignName.c_str())))
            return S_OK;
        return m_navigator->AlignToAxis(command->axis);
    }
    case Step::Rotate: {
        float step = 0;
        const HRESULT hr = m_navigator->GetAngleOfRotation(&step);
        return FAILED(hr) ? hr : m_navigator->RotateAroundAxisByAngle(command->axis, step);
    }
    case Step::Translate: {
        float step = 0;
        const HRESULT hr = m_navigator->GetDistOfTranslation(&step);
        return FAILED(hr) ? hr : m_navigator->TranslateAlongAxisByDist(command->axis, step);
    }
    }
    return S_OK;
}
