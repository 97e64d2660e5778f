// CViewNavigator: the module's camera driver. It reaches the host through its
// site (IObjectWithSite): the site answers IHostApplication (the 3D view and
// its events), IHostUIService (message 141) and, when the module manager is
// the site, IViewNavigatorOwner (changes of the locked up axis).
#pragma once

#include "zul/com/ObjectWithSite.h"

#include <map>
#include <vector>

#include "Dialogs.h"
#include "KRAdvancedViews/IViewManager.h"
#include "KRAdvancedViews/host/IHostUIService.h"
#include "KRAdvancedViews/host/IHostView.h"
#include "Site.h"
#include "zul/com/ComPtr.h"
#include "zul/com/Object.h"

// Told when the host's locked up axis changes (0 none, 1 X, 2 Y, 3 Z).
struct IViewNavigatorOwner : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE UpdateLockedVec(int iLockedVec) = 0;
};
ZUL_DECLARE_IID(IViewNavigatorOwner, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0107");

class CViewNavigator : public zul::com::ObjectRoot,
                       public IViewNavigator2,
                       public IHostViewEvents,
                       public IObjectWithSite,
                       public IViewNavigatorDialogHolder {
public:
    ZUL_BEGIN_INTERFACE_MAP(CViewNavigator)
    ZUL_INTERFACE_ENTRY(IViewNavigator2)
    ZUL_INTERFACE_ENTRY2(IViewNavigator, IViewNavigator2)
    ZUL_INTERFACE_ENTRY(IHostViewEvents)
    ZUL_INTERFACE_ENTRY(IObjectWithSite)
    ZUL_INTERFACE_ENTRY(IViewNavigatorDialogHolder)
    ZUL_END_INTERFACE_MAP()
    ZUL_DELEGATING_IUNKNOWN

    CViewNavigator();
    ~CViewNavigator() override;

    // IViewNavigator
    HRESULT STDMETHODCALLTYPE SetView(float pUpVector[3], float pViewVector[3],
                                      CameraTypeEnum cameraType) override;
    HRESULT STDMETHODCALLTYPE SetViewExt(float pUpVector[3], float pViewVector[3],
                                         CameraTypeEnum cameraType, float pFromVector[3],
                                         float pAtVector[3], float viewAngle,
                                         int iChangeBits) override;
    HRESULT STDMETHODCALLTYPE SetViewInfo(FullViewInfo* pViewInfo) override;
    HRESULT STDMETHODCALLTYPE GetViewInfo(FullViewInfo* pViewInfo) override;
    HRESULT STDMETHODCALLTYPE AlignToAxis(AxisEnum axis) override;
    HRESULT STDMETHODCALLTYPE SetUpAxisForAxisAlignment(AxisEnum axisOfAlignment,
                                                        AxisEnum upAxis) override;
    HRESULT STDMETHODCALLTYPE GetUpAxisForAxisAlignment(AxisEnum axisOfAlignment,
                                                        AxisEnum* pUpAxis) override;
    HRESULT STDMETHODCALLTYPE SetAngleOfRotation(float angle) override;
    HRESULT STDMETHODCALLTYPE GetAngleOfRotation(float* pAngle) override;
    HRESULT STDMETHODCALLTYPE SetDistOfTranslation(float dist) override;
    HRESULT STDMETHODCALLTYPE GetDistOfTranslation(float* pDist) override;
    HRESULT STDMETHODCALLTYPE RotateAroundAxis(AxisEnum axis) override;
    HRESULT STDMETHODCALLTYPE RotateAroundAxisByAngle(AxisEnum axis, float angle) override;
    HRESULT STDMETHODCALLTYPE TranslateAlongAxis(AxisEnum axis) override;
    HRESULT STDMETHODCALLTYPE TranslateAlongAxisByDist(AxisEnum axis, float dist) override;
    HRESULT STDMETHODCALLTYPE RegisterInterest(IViewNavigatorSink* pIViewNavigatorSink) override;
    HRESULT STDMETHODCALLTYPE UnregisterInterest(IViewNavigatorSink* pIViewNavigatorSink) override;
    HRESULT STDMETHODCALLTYPE RefreshView() override;
    HRESULT STDMETHODCALLTYPE RefreshUI() override;
    // IViewNavigator2
    HRESULT STDMETHODCALLTYPE DlgSetup(IViewManager* pIViewManager) override;
    HRESULT STDMETHODCALLTYPE DlgSetViewEditButtonState(int bUpOrDown) override;
    HRESULT STDMETHODCALLTYPE DlgShow(int bShow) override;
    HRESULT STDMETHODCALLTYPE DlgIsShowing(int* pbShow) override;
    // IHostViewEvents: the host's camera changed.
    HRESULT STDMETHODCALLTYPE OnCameraChanged(DWORD flags) override;
    // IObjectWithSite
    HRESULT STDMETHODCALLTYPE SetSite(IUnknown* pUnkSite) override;
    HRESULT STDMETHODCALLTYPE GetSite(REFIID riid, void** ppvSite) override;

    // Connects to / disconnects from the host's view events.
    HRESULT _start();
    HRESULT _stop();
    // IViewNavigatorDialogHolder: the Rotate dialog the Dlg operations drive (null: none).
    HRESULT STDMETHODCALLTYPE SetDialog(IViewNavigatorDialog* pDialog) override;

    // Camera primitives.
    HRESULT _setCameraFrame(const float up[3], const float view[3], const float from[3],
                            const float at[3], int frameFlags, int lockedAxis);
    HRESULT _setCameraType(CameraTypeEnum type);
    HRESULT _setCameraFOV(float degrees);
    HRESULT _getCameraFOV(float* degrees);
    HRESULT _getCameraClippingMatrix(float m[4]);
    HRESULT _setCameraClippingMatrix(const float m[4]);
    // 0 none, 1 X, 2 Y, 3 Z: the axis the up vector lies on while it is locked.
    HRESULT _getLockedUpAxis(int* axis);
    HRESULT _constructVectors_Isometric(AxisEnum axis, float up[3], float view[3]);
    HRESULT _setCameraOrientation(const float up[3], const float view[3], bool keepTarget);

    // The axis-alignment integers: |view| of the last applied view, truncated.
    const int* alignedAxis() const { return m_aligned; }

private:
    void _notifyAll(bool preDraw);
    void _showMessage(unsigned id);

    krav::CSite m_site;
    zul::com::ComPtr<IViewNavigatorDialog> m_dialog;
    std::vector<IViewNavigatorSink*> m_sinks; // counted references
    std::map<AxisEnum, AxisEnum> m_upAxis;    // alignment axis -> up axis
    float m_angleOfRotation = 90.0f;
    float m_distOfTranslation = 10.0f;
    int m_aligned[3] = {0, 0, 0};
    DWORD m_eventCookie = 0;
    bool m_advised = false;
};
