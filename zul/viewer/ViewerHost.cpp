#include "ViewerHost.h"

#include <cmath>
#include <cstdio>
#include <cstring>

#include <QAction>
#include <QApplication>
#include <QFont>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QStringList>
#include <vector>

namespace zul::viewer {

CViewerHost::CViewerHost() {
    IHostApplication* app = nullptr;
    zul::com::createInstance<scene::CSceneViewer>(nullptr, zul::com::iidOf<IHostApplication>(),
                                                  reinterpret_cast<void**>(&app));
    sceneViewer.Attach(static_cast<scene::CSceneViewer*>(app));
    viewer = zul::com::ComPtr<runtime::CCameraModel>(sceneViewer.Get());
    sceneViewer->messageService = static_cast<IHostUIService*>(this);
}

CViewerHost::~CViewerHost() {
    if (sceneViewer) sceneViewer->messageService = nullptr;
}

HRESULT CViewerHost::GetWindowHandle(UINT_PTR* h) {
    if (!h) return E_POINTER;
    *h = window ? static_cast<UINT_PTR>(window->winId()) : 0;
    return S_OK;
}

QAction* CViewerHost::action(UINT id) const {
    const auto it = actions_.find(id);
    return it == actions_.end() ? nullptr : it->second.data();
}

QMenu* CViewerHost::menu(UINT menuId) const {
    const auto it = menus_.find(menuId);
    return it == menus_.end() ? nullptr : it->second.data();
}

namespace {
// A line in a menu that names the group below it; not a command.
QAction* s_heading(QMenu* menu, const QString& text, QAction* before) {
    auto* heading = new QAction(text, menu);
    QFont font = heading->font();
    font.setBold(true);
    heading->setFont(font);
    heading->setEnabled(false);
    menu->insertAction(before, heading);
    return heading;
}
} // namespace

QMenu* CViewerHost::submenu(UINT popupId) const {
    const auto it = submenus_.find(popupId);
    return it == submenus_.end() ? nullptr : it->second.data();
}

HRESULT CViewerHost::Run(UINT id) {
    if (hostCommand && hostCommand(id)) return S_OK;
    return handler_ ? handler_->OnCommand(id) : E_FAIL;
}

// A menu resource is text, one entry a line: "POPUP <id> <text>" ... "END",
// "ITEM <id> <text>", "SEPARATOR". Popup 0 has no id of its own.
HRESULT CViewerHost::_install(UINT menuId, IHostCommandHandler* handler) {
    if (!window) return S_OK; // nothing to show menus in
    const void* data = nullptr;
    DWORD size = 0;
    if (!resource || FAILED(resource(krav::ids::kResourceMenu, menuId, &data, &size)) || !data)
        return E_FAIL;
    const QStringList lines = QString::fromUtf8(static_cast<const char*>(data), int(size))
                                  .split('\n', Qt::SkipEmptyParts);
    if (handler) handler_ = zul::com::ComPtr<IHostCommandHandler>(handler);
    std::vector<QMenu*> stack;
    QMenu* top = nullptr;
    for (const QString& line : lines) {
        const QString word = line.section(' ', 0, 0);
        if (word == "END") {
            if (!stack.empty()) stack.pop_back();
            continue;
        }
        if (word == "SEPARATOR") {
            if (!stack.empty()) stack.back()->addSeparator();
            continue;
        }
        const UINT id = line.section(' ', 1, 1).toUInt();
        const QString text = line.section(' ', 2);
        if (word == "POPUP") {
            QMenu* menu =
                stack.empty() ? window->menuBar()->addMenu(text) : stack.back()->addMenu(text);
            if (!top) top = menu;
            if (id) submenus_[id] = menu;
            stack.push_back(menu);
        } else if (word == "ITEM" && !stack.empty()) {
            QAction* a = stack.back()->addAction(text);
            a->setData(id);
            QObject::connect(a, &QAction::triggered, [this, id] { Run(id); });
            actions_[id] = a;
        }
    }
    menus_[menuId] = top;
    // The "Standard Views" popup holds the align commands and, below them,
    // the stored views: a heading over each group tells them apart.
    if (const auto views = submenus_.find(kStoredViewsPopup);
        views != submenus_.end() && views->second) {
        QMenu* popup = views->second;
        if (!popup->actions().isEmpty() && popup->actions().front()->isEnabled()) {
            s_heading(popup, QObject::tr("Align the camera"), popup->actions().front());
            s_heading(popup, QObject::tr("Stored views"), nullptr);
        }
    }
    return S_OK;
}

void CViewerHost::_remove(UINT menuId) {
    const auto it = menus_.find(menuId);
    if (it == menus_.end()) return;
    if (it->second) {
        window->menuBar()->removeAction(it->second->menuAction());
        delete it->second.data();
    }
    menus_.erase(it);
}

HRESULT CViewerHost::InstallMenuWithHandler(DWORD, UINT menuId, IHostCommandHandler* handler) {
    return _install(menuId, handler);
}

HRESULT CViewerHost::RemoveMenuWithHandler(DWORD, UINT menuId, IHostCommandHandler*) {
    _remove(menuId);
    handler_.Reset();
    return S_OK;
}

HRESULT CViewerHost::InstallMenu(DWORD, DWORD* handle, UINT menuId) {
    if (handle) *handle = menuId;
    return _install(menuId, nullptr);
}

HRESULT CViewerHost::RemoveMenu(DWORD, DWORD, UINT menuId) {
    _remove(menuId);
    return S_OK;
}

HRESULT CViewerHost::RemoveMenuItems(DWORD, UINT firstId, UINT lastId) {
    for (auto it = actions_.begin(); it != actions_.end();) {
        if (it->first >= firstId && it->first <= lastId) {
            delete it->second.data();
            it = actions_.erase(it);
        } else {
            ++it;
        }
    }
    return S_OK;
}

HRESULT CViewerHost::AddMenuItem(DWORD, UINT anchorId, UINT commandId, const char* text,
                                 BOOL enabled) {
    const auto it = submenus_.find(anchorId);
    if (it == submenus_.end() || !it->second) return E_INVALIDARG;
    QAction* a = it->second->addAction(QString::fromUtf8(text ? text : ""));
    a->setEnabled(enabled != FALSE);
    QObject::connect(a, &QAction::triggered, [this, commandId] { Run(commandId); });
    actions_[commandId] = a;
    return S_OK;
}

HRESULT CViewerHost::ShowMessage(const char* text, const char* caption, UINT type, int* result) {
    const QString message = QString::fromUtf8(text ? text : "");
    if (status) status(message);
    if (answerMessage) {
        const int answer = answerMessage(message);
        if (result) *result = answer;
        return S_OK;
    }
    if (!window) return CHeadlessHost::ShowMessage(text, caption, type, result);
    const UINT icon = type & 0xF0;
    const auto kind = icon == 0x10   ? QMessageBox::Critical
                      : icon == 0x20 ? QMessageBox::Question
                      : icon == 0x30 ? QMessageBox::Warning
                                     : QMessageBox::Information;
    QMessageBox box(kind, caption && *caption ? QString::fromUtf8(caption) : window->windowTitle(),
                    message,
                    (type & 0xF) == 0x4 ? QMessageBox::Yes | QMessageBox::No : QMessageBox::Ok,
                    QApplication::activeWindow() ? QApplication::activeWindow() : window);
    const int chosen = box.exec();
    if (result) *result = chosen == QMessageBox::Yes ? 6 : chosen == QMessageBox::No ? 7 : 1;
    return S_OK;
}

HRESULT CViewerHost::ExecuteCommand(DWORD command) {
    return Run(command);
}

} // namespace zul::viewer

namespace zul::viewer {

HRESULT CViewerHost::DrawViewPicture(const float direction[3], const float up[3], BOOL perspective,
                                     float viewAngle, UINT width, UINT height, BYTE* rgb) {
    if (!direction || !up || !rgb) return E_POINTER;
    if (width < 16 || height < 16 || width > 512 || height > 512) return E_INVALIDARG;
    if (!sceneViewer || !sceneViewer->scene) return S_FALSE;
    scene::Scene& scene = *sceneViewer->scene;
    if (scene.partCount() == 0) return S_FALSE;
    char key[256];
    std::snprintf(key, sizeof key, "%u|%.9g,%.9g,%.9g|%.9g,%.9g,%.9g|%d|%.9g|%ux%u",
                  scene.generation(), direction[0], direction[1], direction[2], up[0], up[1], up[2],
                  perspective ? 1 : 0, viewAngle, width, height);
    const size_t bytes = size_t(width) * size_t(height) * 3;
    if (auto found = pictures_.find(key);
        found != pictures_.end() && found->second.size() == bytes) {
        std::memcpy(rgb, found->second.data(), bytes);
        return S_OK;
    }
    const double d[3] = {direction[0], direction[1], direction[2]}, u[3] = {up[0], up[1], up[2]};
    if (!(std::fabs(d[0]) + std::fabs(d[1]) + std::fabs(d[2]) > 0)) return E_INVALIDARG;
    std::vector<unsigned char> picture;
    std::string error;
    if (!scene.drawPicture(d, u, perspective != 0, viewAngle, int(width), int(height), picture,
                           error))
        return S_FALSE;
    ++picturesDrawn;
    std::memcpy(rgb, picture.data(), bytes);
    pictures_[key] = std::move(picture);
    pictureOrder_.push_back(key);
    while (pictureOrder_.size() > kPictureCacheSize) {
        pictures_.erase(pictureOrder_.front());
        pictureOrder_.pop_front();
    }
    return S_OK;
}

} // namespace zul::viewer
