#include "dialogs/QtDialogs.h"

#include <QApplication>
#include <QPointer>
#include <QThread>

#include "dialogs/DialogSupport.h"
#include "dialogs/ViewEditDlg.h"
#include "dialogs/ViewNavigatorDlg.h"
#include "zul/com/Object.h"

// The images live in a resource of this static library; the linker keeps
// them only when something names their initialiser.
static bool s_imagesRegistered = false;
static void s_initImages() {
    if (s_imagesRegistered) return;
    Q_INIT_RESOURCE(images);
    s_imagesRegistered = true;
}
static void s_releaseImages() {
    if (!s_imagesRegistered) return;
    Q_CLEANUP_RESOURCE(images);
    s_imagesRegistered = false;
}

namespace krav::dialogs {
namespace {

// The window must exist on the thread that owns the application's widgets.
bool s_canMakeWindows(UINT_PTR parent) {
    return qobject_cast<QApplication*>(QCoreApplication::instance()) && WidgetFromHandle(parent) &&
           QThread::currentThread() == QCoreApplication::instance()->thread();
}

class CStandardViewsDialog : public zul::com::ObjectRoot, public IStandardViewsDialog {
public:
    ZUL_BEGIN_INTERFACE_MAP(CStandardViewsDialog)
    ZUL_INTERFACE_ENTRY(IStandardViewsDialog)
    ZUL_END_INTERFACE_MAP()
    ZUL_DELEGATING_IUNKNOWN

    ~CStandardViewsDialog() override { delete dialog_.data(); }

    QPointer<CViewEditDlg> dialog_;

    HRESULT STDMETHODCALLTYPE GetWindowHandle(UINT_PTR* pHandle) override {
        if (!pHandle) return E_POINTER;
        *pHandle = dialog_ ? HandleOf(dialog_) : 0;
        return dialog_ ? S_OK : E_FAIL;
    }
    HRESULT STDMETHODCALLTYPE Show(BOOL show) override {
        if (!dialog_) return E_FAIL;
        dialog_->setVisible(show != FALSE);
        if (show) dialog_->raise();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Close() override {
        delete dialog_.data();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE IsPointPick(BOOL* pPoint) override {
        if (!pPoint) return E_POINTER;
        *pPoint = dialog_ ? dialog_->IsPointPick() : TRUE;
        return dialog_ ? S_OK : E_FAIL;
    }
    HRESULT STDMETHODCALLTYPE SetPickedVector(const float v[3]) override {
        if (!v) return E_POINTER;
        if (!dialog_) return E_FAIL;
        dialog_->SetPickedVector(v);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE OnViewEvent(const char* event, const char* name,
                                          const char* newName) override {
        if (dialog_) dialog_->OnViewEvent(event, name, newName);
        return S_OK;
    }
};

// The Rotate dialog also listens to the store it is bound to, to keep its
// drop-down in step.
class CNavigatorDialog : public zul::com::ObjectRoot,
                         public IViewNavigatorDialog,
                         public IViewManagerSink {
public:
    ZUL_BEGIN_INTERFACE_MAP(CNavigatorDialog)
    ZUL_INTERFACE_ENTRY(IViewNavigatorDialog)
    ZUL_INTERFACE_ENTRY(IViewManagerSink)
    ZUL_END_INTERFACE_MAP()
    ZUL_DELEGATING_IUNKNOWN

    ~CNavigatorDialog() override { delete dialog_.data(); }

    QPointer<CViewNavigatorDlg> dialog_;
    zul::com::ComPtr<IViewManager2> store_;

    HRESULT STDMETHODCALLTYPE Setup(IViewManager* store) override {
        if (store_) store_->UnregisterInterest(this);
        store_.Reset();
        if (store)
            store->QueryInterface(zul::com::iidOf<IViewManager2>(),
                                  reinterpret_cast<void**>(store_.GetAddressOf()));
        if (store_) store_->RegisterInterest(this);
        if (dialog_) dialog_->Setup(store);
        return dialog_ ? S_OK : E_FAIL;
    }
    HRESULT STDMETHODCALLTYPE SetViewEditButtonState(int bUpOrDown) override {
        if (!dialog_) return E_FAIL;
        dialog_->SetViewEditButtonState(bUpOrDown);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Show(int bShow) override {
        if (!dialog_) return E_FAIL;
        dialog_->setVisible(bShow != 0);
        if (bShow) dialog_->raise();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE IsShowing(int* pbShow) override {
        if (!pbShow) return E_POINTER;
        *pbShow = dialog_ && dialog_->isVisible();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetWindowHandle(UINT_PTR* pHandle) override {
        if (!pHandle) return E_POINTER;
        *pHandle = dialog_ ? HandleOf(dialog_) : 0;
        return dialog_ ? S_OK : E_FAIL;
    }
    HRESULT STDMETHODCALLTYPE Close() override {
        Setup(nullptr);
        delete dialog_.data();
        return S_OK;
    }
    // IViewManagerSink: any change of the list refills the drop-down; a batch once at its end.
    HRESULT STDMETHODCALLTYPE NotifyViewCreated(const char*) override { return _changed(); }
    HRESULT STDMETHODCALLTYPE NotifyViewPreDestroy(const char*) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE NotifyViewDestroyed(const char*) override { return _changed(); }
    HRESULT STDMETHODCALLTYPE NotifyViewPreEdit(const char*) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE NotifyViewEdited(const char*) override { return _changed(); }
    HRESULT STDMETHODCALLTYPE NotifyViewRenamed(const char*, const char*) override {
        return _changed();
    }
    HRESULT STDMETHODCALLTYPE NotifyBatchViewEditBegin() override {
        ++batch_;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE NotifyBatchViewEditEnd() override {
        if (batch_ > 0 && --batch_ == 0 && dirty_) _changed();
        return S_OK;
    }

private:
    HRESULT _changed() {
        dirty_ = batch_ > 0;
        if (!dirty_ && dialog_) dialog_->RefillViews();
        return S_OK;
    }
    int batch_ = 0;
    bool dirty_ = false;
};

template <class Object, class Interface, class Dialog>
HRESULT s_create(const DialogContext& context, Interface** pp) {
    if (!pp) return E_POINTER;
    *pp = nullptr;
    if (!s_canMakeWindows(context.parent)) return E_FAIL;
    return zul::com::firewall([&]() -> HRESULT {
        s_initImages();
        Interface* object = nullptr;
        const HRESULT hr = zul::com::createInstance<Object>(nullptr, zul::com::iidOf<Interface>(),
                                                            reinterpret_cast<void**>(&object));
        if (FAILED(hr)) return hr;
        auto* dialog = new Dialog(context, WidgetFromHandle(context.parent));
        static_cast<Object*>(object)->dialog_ = dialog;
        *pp = object;
        return S_OK;
    });
}

} // namespace

HRESULT CreateStandardViewsDialog(const DialogContext& context, IStandardViewsDialog** ppDialog) {
    return s_create<CStandardViewsDialog, IStandardViewsDialog, CViewEditDlg>(context, ppDialog);
}

HRESULT CreateNavigatorDialog(const DialogContext& context, IViewNavigatorDialog** ppDialog) {
    return s_create<CNavigatorDialog, IViewNavigatorDialog, CViewNavigatorDlg>(context, ppDialog);
}

void ReleaseQtDialogs() {
    krav::SetDialogFactories(nullptr, nullptr);
    s_releaseImages();
}

void UseQtDialogs() {
    krav::SetDialogFactories(&CreateStandardViewsDialog, &CreateNavigatorDialog);
}

} // namespace krav::dialogs
