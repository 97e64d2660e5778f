// The view store's interfaces, its listener interface, and the navigator as
// far as the store uses it.
#pragma once

#include "KRAdvancedViews/ViewTypes.h"

// Hears of every change of the store, in registration order, from a copy of
// the listener list (a listener may unregister itself while called). What a
// listener returns is ignored.
struct IViewManagerSink : IUnknown {
    // The view was created (after it is written).
    virtual HRESULT STDMETHODCALLTYPE NotifyViewCreated(const char* pViewName) = 0;
    // The view is about to be deleted (it can still be read).
    virtual HRESULT STDMETHODCALLTYPE NotifyViewPreDestroy(const char* pViewName) = 0;
    // The view was deleted (also when its key was not found).
    virtual HRESULT STDMETHODCALLTYPE NotifyViewDestroyed(const char* pViewName) = 0;
    // The view is about to be replaced (its old record can still be read).
    virtual HRESULT STDMETHODCALLTYPE NotifyViewPreEdit(const char* pViewName) = 0;
    // The view's new record is written.
    virtual HRESULT STDMETHODCALLTYPE NotifyViewEdited(const char* pViewName) = 0;
    // The view keeps its record and index under the new name.
    virtual HRESULT STDMETHODCALLTYPE NotifyViewRenamed(const char* pOldViewName,
                                                        const char* pNewViewName) = 0;
    // Around a group of changes (a file load, the dialog's multiple delete and
    // moves, views another store changed): a listener may postpone refreshing
    // until the end, and after the end read the store anew, since the changes
    // inside need not each have been announced.
    virtual HRESULT STDMETHODCALLTYPE NotifyBatchViewEditBegin() = 0;
    virtual HRESULT STDMETHODCALLTYPE NotifyBatchViewEditEnd() = 0;
};

// Hears of every change of the host camera through the navigator.
struct IViewNavigatorSink : IUnknown {
    // The camera as it now is (GetViewInfo's record): sent on registering and
    // after every camera change the host reports (not during a drag).
    virtual HRESULT STDMETHODCALLTYPE NotifyViewChanged(FullViewInfo viewInfo) = 0;
    // After NotifyViewChanged, before the host draws.
    virtual HRESULT STDMETHODCALLTYPE NotifyViewPreDraw() = 0;
};

struct IViewManager;

// The module's camera driver: applies views, aligns to axes, steps the camera.
// It reaches the host through its site (IHostApplication and the 3D view,
// camera and view control of KRAdvancedViews/host/IHostView.h). Every method
// returns S_OK or a failure status; a failing host call's status is passed
// up unchanged (a frame set in part is not undone); E_FAIL without a host
// application or 3D view. Vectors are world directions, points in model
// units, angles in degrees.
struct IViewNavigator : IUnknown {
    // Applies up, view direction and camera type to the live camera, keeping
    // its eye and target distance and the change bits the camera reports
    // (as SetViewInfo with bHasFromAndAt 0).
    virtual HRESULT STDMETHODCALLTYPE SetView(float pUpVector[3], float pViewVector[3],
                                              CameraTypeEnum cameraType) = 0;
    // SetViewInfo of a record built from the arguments with bHasFromAndAt 1.
    // E_INVALIDARG, nothing applied, when one of the four vectors is null.
    virtual HRESULT STDMETHODCALLTYPE SetViewExt(float pUpVector[3], float pViewVector[3],
                                                 CameraTypeEnum cameraType, float pFromVector[3],
                                                 float pAtVector[3], float viewAngle,
                                                 int iChangeBits) = 0;
    // Applies a record as its change bits say (ViewChangeBits): 0x20 the eye
    // at the from point, 0x4 the target at the at point, 0x2 re-aims along the
    // (normalised) view vector at the points' distance, 0x200 the camera
    // type, 0x2000 the field of view (else the camera keeps its own); the up
    // vector unless the host's up is locked. A view looking exactly along a
    // locked up axis is refused: message 141, camera untouched, S_FALSE.
    // Asks the host to redraw; listeners hear of it through the host's event.
    virtual HRESULT STDMETHODCALLTYPE SetViewInfo(FullViewInfo* pViewInfo) = 0;
    // Fills the record from the live camera: up, view vector (eye to target),
    // from and at points, camera type, field of view.
    virtual HRESULT STDMETHODCALLTYPE GetViewInfo(FullViewInfo* pViewInfo) = 0;
    // Looks along an axis (keeping the target; the eye one unit away along
    // the view vector, 347.3 units for the isometric views) with the up axis
    // the alignment table gives (isometric views have their own up).
    // Neither checks the locked up axis nor normalises. E_INVALIDARG for an
    // axis above 7.
    virtual HRESULT STDMETHODCALLTYPE AlignToAxis(AxisEnum axis) = 0;
    // The up axis used when aligning to axisOfAlignment (±X/±Y/±Z only);
    // defaults: +Z for the X and Y alignments, +Y for the Z ones; kept in
    // memory only. E_INVALIDARG for an axis above 5 or an up axis on the
    // alignment's own line, E_FAIL for an alignment the table lacks.
    virtual HRESULT STDMETHODCALLTYPE SetUpAxisForAxisAlignment(AxisEnum axisOfAlignment,
                                                                AxisEnum upAxis) = 0;
    // E_INVALIDARG for an alignment axis above 5 or not in the table.
    virtual HRESULT STDMETHODCALLTYPE GetUpAxisForAxisAlignment(AxisEnum axisOfAlignment,
                                                                AxisEnum* pUpAxis) = 0;
    // The rotation step in degrees (default 90; any value is stored).
    virtual HRESULT STDMETHODCALLTYPE SetAngleOfRotation(float angle) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetAngleOfRotation(float* pAngle) = 0;
    // The translation step in model units (default 10; any value is stored).
    virtual HRESULT STDMETHODCALLTYPE SetDistOfTranslation(float dist) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDistOfTranslation(float* pDist) = 0;
    // RotateAroundAxisByAngle by the rotation step; E_INVALIDARG for an axis
    // above 5.
    virtual HRESULT STDMETHODCALLTYPE RotateAroundAxis(AxisEnum axis) = 0;
    // Turns the camera about the world direction of `axis` by `angle`
    // degrees (the host's RotateCamera), then redraws. The locked up vector is
    // not consulted; an isometric axis makes no host call.
    virtual HRESULT STDMETHODCALLTYPE RotateAroundAxisByAngle(AxisEnum axis, float angle) = 0;
    // TranslateAlongAxisByDist by the translation step; E_INVALIDARG for an
    // axis above 5.
    virtual HRESULT STDMETHODCALLTYPE TranslateAlongAxis(AxisEnum axis) = 0;
    // Moves eye and target by `dist` along the world direction of `axis`
    // (the host's TranslateCamera), then redraws.
    virtual HRESULT STDMETHODCALLTYPE TranslateAlongAxisByDist(AxisEnum axis, float dist) = 0;
    // Adds a listener and sends it the present camera at once. E_POINTER for
    // null; S_FALSE, nothing sent, for one already registered; a failing
    // GetViewInfo is returned and nothing sent.
    virtual HRESULT STDMETHODCALLTYPE RegisterInterest(IViewNavigatorSink* pIViewNavigatorSink) = 0;
    virtual HRESULT STDMETHODCALLTYPE
    UnregisterInterest(IViewNavigatorSink* pIViewNavigatorSink) = 0;
    // Asks the host's 3D view to redraw.
    virtual HRESULT STDMETHODCALLTYPE RefreshView() = 0;
    // Sends the present camera to every listener (NotifyViewChanged).
    virtual HRESULT STDMETHODCALLTYPE RefreshUI() = 0;
};

// The navigator with its Rotate and Transform dialog.
// Without a dialog (a host without windows) the Dlg* calls give E_FAIL, but
// DlgIsShowing answers 0.
struct IViewNavigator2 : IViewNavigator {
    // Gives the dialog the store that fills its list of views.
    virtual HRESULT STDMETHODCALLTYPE DlgSetup(IViewManager* pIViewManager) = 0;
    // The state of the dialog's "Edit..." button (pressed while the Standard
    // Views dialog shows).
    virtual HRESULT STDMETHODCALLTYPE DlgSetViewEditButtonState(int bUpOrDown) = 0;
    // Shows or hides the dialog.
    virtual HRESULT STDMETHODCALLTYPE DlgShow(int bShow) = 0;
    // Whether the dialog's window is visible; E_POINTER for null.
    virtual HRESULT STDMETHODCALLTYPE DlgIsShowing(int* pbShow) = 0;
};

// The first, vector-based interface of the store. Each operation builds a
// fresh record (the FullViewInfo defaults, up and view vectors, camera type
// and index from the arguments, bHasFromAndAt 0) and calls the record-based
// operation of IViewManager2, with its statuses and notifications.
struct IViewManager : IUnknown {
    // CreateViewInfo of the built record (no test of the vectors).
    virtual HRESULT STDMETHODCALLTYPE CreateView(const char* pViewName, float pUpVector[3],
                                                 float pViewVector[3], CameraTypeEnum cameraType,
                                                 int iViewNum) = 0;
    // EditViewInfo of the built record; E_INVALIDARG when the name or a
    // vector is null.
    virtual HRESULT STDMETHODCALLTYPE EditView(const char* pViewName, float pUpVector[3],
                                               float pViewVector[3], CameraTypeEnum cameraType,
                                               int iViewNum) = 0;
    // GetViewInfo's fields copied out; E_POINTER for a null name or out-pointer.
    virtual HRESULT STDMETHODCALLTYPE GetView(const char* pViewName, float pUpVector[3],
                                              float pViewVector[3], CameraTypeEnum* pCameraType,
                                              int* pViewNum) = 0;
    // DestroyViewExt.
    virtual HRESULT STDMETHODCALLTYPE DestroyView(const char* pViewName) = 0;
    // RenameViewExt.
    virtual HRESULT STDMETHODCALLTYPE RenameView(const char* pOldViewName,
                                                 const char* pNewViewName) = 0;
    // SaveViewsExt / LoadViewsExt.
    virtual HRESULT STDMETHODCALLTYPE SaveViews(char* pFileName, FileTypeEnum fileType) = 0;
    virtual HRESULT STDMETHODCALLTYPE LoadViews(char* pFileName, FileTypeEnum fileType) = 0;
    // ShowViewExt.
    virtual HRESULT STDMETHODCALLTYPE ShowView(const char* pViewName) = 0;
};

// The record-based interface, on which all others rest. The store keeps the
// user's views in the registry (StoreLayout.h), writes every change at once
// as one durable step, holds at most kMaxViews views, and announces every
// change to its listeners (IViewManagerSink) in a fixed order. Names are
// non-empty UTF-8 strings compared exactly.
struct IViewManager2 : IViewManager {
    // Creates a view. Its index is the record's when that slot is free, else
    // the first free one (or the next after the last). S_FALSE, nothing
    // changed, when the name exists; E_POINTER for a null name; E_INVALIDARG
    // for an empty name or a camera type above 1; E_UNEXPECTED when the
    // store is full; E_FAIL when the registry cannot be written. Announces
    // NotifyViewCreated.
    virtual HRESULT STDMETHODCALLTYPE CreateViewInfo(const char* pViewName,
                                                     FullViewInfo viewInfo) = 0;
    // Replaces a view's record (an index below 1 keeps the present one); a
    // name that does not exist is created. Statuses as CreateViewInfo but for
    // the existing name. Announces NotifyViewPreEdit, then NotifyViewEdited.
    virtual HRESULT STDMETHODCALLTYPE EditViewInfo(const char* pViewName,
                                                   FullViewInfo viewInfo) = 0;
    // Reads a view's record (values not stored keep the record's defaults).
    // S_FALSE for an unknown name or an unreadable record; E_POINTER for a
    // null name or record; E_INVALIDARG for an empty name.
    virtual HRESULT STDMETHODCALLTYPE GetViewInfo(const char* pViewName,
                                                  FullViewInfo* pViewInfo) = 0;
    // Deletes a view. S_FALSE when its key was not found (listeners still
    // hear of it); E_POINTER / E_INVALIDARG for a null / empty name; E_FAIL
    // when the registry cannot be written. Announces NotifyViewPreDestroy,
    // then (unless it failed) NotifyViewDestroyed.
    virtual HRESULT STDMETHODCALLTYPE DestroyViewExt(const char* pViewName) = 0;
    // Renames a view; it keeps its record, index and default mark. Does not
    // test whether the new name is taken (callers do). E_POINTER for a null
    // name; the old name's read failure (S_FALSE for an unknown name) is
    // returned. Announces NotifyViewRenamed only.
    virtual HRESULT STDMETHODCALLTYPE RenameViewExt(const char* pOldViewName,
                                                    const char* pNewViewName) = 0;
    // CreateViewInfo / EditViewInfo of a record built from the arguments
    // (bHasFromAndAt when both points are given). EditViewExt gives
    // E_INVALIDARG, nothing written or announced, when the name or any of
    // the four vectors is null.
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
    // GetViewInfo, its fields copied to the out-pointers that are not null.
    virtual HRESULT STDMETHODCALLTYPE GetViewExt(const char* pViewName, float pUpVector[3],
                                                 float pViewVector[3], CameraTypeEnum* pCameraType,
                                                 int* pViewNum, float pFromVector[3],
                                                 float pAtVector[3], float* pViewAngle,
                                                 int* pChangeBits) = 0;
    // Adds a listener (with a reference). E_POINTER for null; S_FALSE for one
    // already registered.
    virtual HRESULT STDMETHODCALLTYPE RegisterInterest(IViewManagerSink* pSink) = 0;
    // Removes a listener. E_POINTER for null; S_FALSE for one not registered.
    virtual HRESULT STDMETHODCALLTYPE UnregisterInterest(IViewManagerSink* pSink) = 0;
    // Announce NotifyBatchViewEditBegin / End; nothing is deferred between.
    virtual HRESULT STDMETHODCALLTYPE BeginBatchViewEdit() = 0;
    virtual HRESULT STDMETHODCALLTYPE EndBatchViewEdit() = 0;
    // Applies a stored view through the bound navigator (its SetViewInfo and
    // status). E_POINTER for a null name; the read's status (S_FALSE for an
    // unknown name) with the camera untouched; E_FAIL without a navigator.
    virtual HRESULT STDMETHODCALLTYPE ShowViewExt(const char* pViewName) = 0;
    // Moves the default mark (ViewChangeDefaultView) to the named view (an
    // edit of the old and the new default); null just removes it. A name not
    // in the store sets nothing. Read and write failures are returned.
    virtual HRESULT STDMETHODCALLTYPE SetDefaultView(const char* pViewName) = 0;
    // The view marked default. E_POINTER for null; E_FAIL when no view is
    // marked or a record cannot be read.
    virtual HRESULT STDMETHODCALLTYPE GetDefaultView(FullViewInfo* pViewInfo) = 0;
    // Applies the default view through the navigator. S_FALSE, camera
    // untouched, when there is none; E_UNEXPECTED without a navigator.
    virtual HRESULT STDMETHODCALLTYPE ApplyDefaultView() = 0;
    // Writes every stored view to a .qjv file (TextFile: UTF-16LE with a
    // byte-order mark) or a .reg export (RegistryFile), beside the target
    // and renamed over it. S_FALSE when the store holds no views;
    // E_INVALIDARG for another file type; E_FAIL when the file cannot be
    // written (or for a null name).
    virtual HRESULT STDMETHODCALLTYPE SaveViewsExt(const char* pFileName,
                                                   FileTypeEnum fileType) = 0;
    // Merges a file's views into the store in one registry transaction: a
    // view of a stored name replaces it, the others are added after the
    // highest index, and the list is renumbered without gaps. A .qjv file is
    // read as UTF-16 (either byte order) with a byte-order mark, else as
    // 8-bit text, versions 1 and 2. E_FAIL, the store as it was, for a file
    // that cannot be read or is not a view file; E_INVALIDARG for another
    // file type. A UTF-16 file with more views than fit shows message 139.
    // Announces NotifyBatchViewEditBegin ... End around the load.
    virtual HRESULT STDMETHODCALLTYPE LoadViewsExt(const char* pFileName,
                                                   FileTypeEnum fileType) = 0;
    // The navigator ShowViewExt and ApplyDefaultView use (one reference kept).
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
