// The view store's interfaces, its listener interface, and the navigator as
// far as the store uses it.
#pragma once

#include "KRAdvancedViews/ViewTypes.h"

// Hears of every change of the store, in registration order, from a copy of
// the listener list (a listener may unregister itself while called). What a
// listener returns is ignored.
struct IViewManagerSink : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE NotifyViewCreated(const char* pViewName) = 0;
    virtual HRESULT STDMETHODCALLTYPE NotifyViewPreDestroy(const char* pViewName) = 0;
    virtual HRESULT STDMETHODCALLTYPE NotifyViewDestroyed(const char* pViewName) = 0;
    virtual HRESULT STDMETHODCALLTYPE NotifyViewPreEdit(const char* pViewName) = 0;
    virtual HRESULT STDMETHODCALLTYPE NotifyViewEdited(const char* pViewName) = 0;
    virtual HRESULT STDMETHODCALLTYPE NotifyViewRenamed(const char* pOldViewName,
                                                        const char* pNewViewName) = 0;
    virtual HRESULT STDMETHODCALLTYPE NotifyBatchViewEditBegin() = 0;
    virtual HRESULT STDMETHODCALLTYPE NotifyBatchViewEditEnd() = 0;
};

// Hears of every change of the host camera through the navigator.
struct IViewNavigatorSink : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE NotifyViewChanged(FullViewInfo viewInfo) = 0;
    virtual HRESULT STDMETHODCALLTYPE NotifyViewPreDraw() = 0;
};

struct IViewManager;

// The module's camera driver: applies views, aligns to axes, steps the camera.
struct IViewNavigator : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE SetView(float pUpVector[3], float pViewVector[3],
                                              CameraTypeEnum cameraType) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetViewExt(float pUpVector[3], float pViewVector[3],
                                                 CameraTypeEnum cameraType, float pFromVector[3],
                                                 float pAtVector[3], float viewAngle,
                                                 int iChangeBits) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetViewInfo(FullViewInfo* pViewInfo) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetViewInfo(FullViewInfo* pViewInfo) = 0;
    virtual HRESULT STDMETHODCALLTYPE AlignToAxis(AxisEnum axis) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetUpAxisForAxisAlignment(AxisEnum axisOfAlignment,
                                                                AxisEnum upAxis) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetUpAxisForAxisAlignment(AxisEnum axisOfAlignment,
                                                                AxisEnum* pUpAxis) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetAngleOfRotation(float angle) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetAngleOfRotation(float* pAngle) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetDistOfTranslation(float dist) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDistOfTranslation(float* pDist) = 0;
    virtual HRESULT STDMETHODCALLTYPE RotateAroundAxis(AxisEnum axis) = 0;
    virtual HRESULT STDMETHODCALLTYPE RotateAroundAxisByAngle(AxisEnum axis, float angle) = 0;
    virtual HRESULT STDMETHODCALLTYPE TranslateAlongAxis(AxisEnum axis) = 0;
    virtual HRESULT STDMETHODCALLTYPE TranslateAlongAxisByDist(AxisEnum axis, float dist) = 0;
    virtual HRESULT STDMETHODCALLTYPE RegisterInterest(IViewNavigatorSink* pIViewNavigatorSink) = 0;
    virtual HRESULT STDMETHODCALLTYPE
    UnregisterInterest(IViewNavigatorSink* pIViewNavigatorSink) = 0;
    virtual HRESULT STDMETHODCALLTYPE RefreshView() = 0;
    virtual HRESULT STDMETHODCALLTYPE RefreshUI() = 0;
};

// The navigator with its Rotate and Transform dialog.
struct IViewNavigator2 : IViewNavigator {
    virtual HRESULT STDMETHODCALLTYPE DlgSetup(IViewManager* pIViewManager) = 0;
    virtual HRESULT STDMETHODCALLTYPE DlgSetViewEditButtonState(int bUpOrDown) = 0;
    virtual HRESULT STDMETHODCALLTYPE DlgShow(int bShow) = 0;
    virtual HRESULT STDMETHODCALLTYPE DlgIsShowing(int* pbShow) = 0;
};

// The first, vector-based interface of the store. Each operation builds a
// fresh record and calls the record-based operation of IViewManager2.
struct IViewManager : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE CreateView(const char* pViewName, float pUpVector[3],
                                                 float pViewVector[3], CameraTypeEnum cameraType,
                                                 int iViewNum) = 0;
    virtual HRESULT STDMETHODCALLTYPE EditView(const char* pViewName, float pUpVector[3],
                                               float pViewVector[3], CameraTypeEnum cameraType,
                                               int iViewNum) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetView(const char* pViewName, float pUpVector[3],
                                              float pViewVector[3], CameraTypeEnum* pCameraType,
                                              int* pViewNum) = 0;
    virtual HRESULT STDMETHODCALLTYPE DestroyView(const char* pViewName) = 0;
    virtual HRESULT STDMETHODCALLTYPE RenameView(const char* pOldViewName,
                                                 const char* pNewViewName) = 0;
    virtual HRESULT STDMETHODCALLTYPE SaveViews(char* pFileName, FileTypeEnum fileType) = 0;
    virtual HRESULT STDMETHODCALLTYPE LoadViews(char* pFileName, FileTypeEnum fileType) = 0;
    virtual HRESULT STDMETHODCALLTYPE ShowView(const char* pViewName) = 0;
};

// The record-based interface, on which all others rest.
struct IViewManager2 : IViewManager {
    virtual HRESULT STDMETHODCALLTYPE CreateViewInfo(const char* pViewName,
                                                     FullViewInfo viewInfo) = 0;
    virtual HRESULT STDMETHODCALLTYPE EditViewInfo(const char* pViewName,
                                                   FullViewInfo viewInfo) = 0;
    // S_FALSE for an unknown name or an unreadable record.
    virtual HRESULT STDMETHODCALLTYPE GetViewInfo(const char* pViewName,
                                                  FullViewInfo* pViewInfo) = 0;
    virtual HRESULT STDMETHODCALLTYPE DestroyViewExt(const char* pViewName) = 0;
    virtual HRESULT STDMETHODCALLTYPE RenameViewExt(const char* pOldViewName,
                                                    const char* pNewViewName) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateViewExt(const char* pViewName, float pUpVector[3],
                                                    float pViewVector[3], CameraTypeEnum cameraType,
                                                    int iViewNum, float pFromVector[3],
                                                    float pAtVector[3], float viewAngle,
                                                    int iChangeBits) = 0;
    virtual HRESULT STDMETHODCALLTYPE EditViewExt(const char* pViewName, float pUpVector[3],
                                                  float pViewVector[3], CameraTypeEnum cameraType,
                                                  int iViewNum, float pFromVector[3],
                                                  float pAtVector[3], float viewAngle,
                                                  int iChangeBits) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetViewExt(const char* pViewName, float pUpVector[3],
                                                 float pViewVector[3], CameraTypeEnum* pCameraType,
                                                 int* pViewNum, float pFromVector[3],
                                                 float pAtVector[3], float* pViewAngle,
                                                 int* pChangeBits) = 0;
    virtual HRESULT STDMETHODCALLTYPE RegisterInterest(IViewManagerSink* pSink) = 0;
    virtual HRESULT STDMETHODCALLTYPE UnregisterInterest(IViewManagerSink* pSink) = 0;
    virtual HRESULT STDMETHODCALLTYPE BeginBatchViewEdit() = 0;
    virtual HRESULT STDMETHODCALLTYPE EndBatchViewEdit() = 0;
    virtual HRESULT STDMETHODCALLTYPE ShowViewExt(const char* pViewName) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetDefaultView(const char* pViewName) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDefaultView(FullViewInfo* pViewInfo) = 0;
    virtual HRESULT STDMETHODCALLTYPE ApplyDefaultView() = 0;
    virtual HRESULT STDMETHODCALLTYPE SaveViewsExt(const char* pFileName,
                                                   FileTypeEnum fileType) = 0;
    virtual HRESULT STDMETHODCALLTYPE LoadViewsExt(const char* pFileName,
                                                   FileTypeEnum fileType) = 0;
    virtual HRESULT STDMETHODCALLTYPE BindViewNavigator(IViewNavigator* pNavigator) = 0;
};

ZUL_DECLARE_IID(IViewManagerSink, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0101");
ZUL_DECLARE_IID(IViewNavigator, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0102");
ZUL_DECLARE_IID(IViewNavigator2, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0105");
ZUL_DECLARE_IID(IViewNavigatorSink, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0106");
ZUL_DECLARE_IID(IViewManager, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0103");
ZUL_DECLARE_IID(IViewManager2, "8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0104");

inline constexpr IID IID_IViewManagerSink = zul::com::iidOf<IViewManagerSink>();
inline constexpr IID IID_IViewNavigator = zul::com::iidOf<IViewNavigator>();
inline constexpr IID IID_IViewNavigator2 = zul::com::iidOf<IViewNavigator2>();
inline constexpr IID IID_IViewNavigatorSink = zul::com::iidOf<IViewNavigatorSink>();
inline constexpr IID IID_IViewManager = zul::com::iidOf<IViewManager>();
inline constexpr IID IID_IViewManager2 = zul::com::iidOf<IViewManager2>();

// The classes served by the module's DllGetClassObject.
inline constexpr CLSID CLSID_ViewManager =
    zul::com::makeGuid("8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0201");
inline constexpr CLSID CLSID_ViewNavigator =
    zul::com::makeGuid("8E1C7A40-3B52-4C0D-9A61-2F4B5D7E0202");
