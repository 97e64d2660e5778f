// zulview's keys, defined once: what each key does, where it acts, and how
// Help lists it. The 3D view reads its keys from this table, the window's
// actions take their shortcuts from it, the module's menu items show theirs
// from it, and the Help page is made from it.
#pragma once

#include <QKeySequence>
#include <QString>

#include <vector>

#include "zul/com/com.h"

namespace zul::viewer {

// What a key can ask of the window.
enum class ViewerAction {
    ModuleCommand, // the module's command `command` (align, isometric)
    StoredView,    // the stored view of position `index` in list order
    PreviousStoredView,
    NextStoredView,
    ToggleProjection,
    ToggleLock,
    FitAll,
    DefaultView,
    CameraBack,
    CameraForward,
    OpenModels,
    StopReading,
    LargerPoints,
    SmallerPoints,
    Quit,
};

// What a key belongs to: the camera and the stored views (read from the
// key presses of any widget of the main window; the module's modeless
// dialogs are windows of their own and keep their keys), or the window's
// own menus and toolbar (their actions' shortcuts).
enum class KeyScope { View, Window };

struct KeyBinding {
    ViewerAction action;
    const char* keys; // as QKeySequence reads it ("Shift+X")
    KeyScope scope;
    const char* text;     // what Help says it does; null: listed with the row before
    const char* helpKeys; // how Help shows the key, when not as `keys`
    UINT command = 0;     // ModuleCommand: the module's command id
    int index = 0;        // StoredView: 0-based list position
};

// Every key of the window, in the order Help lists them.
const std::vector<KeyBinding>& KeyBindings();

// The binding of `action` (with `command` or `index` where they matter);
// null when the action has no key.
const KeyBinding* BindingOf(ViewerAction action, UINT command = 0, int index = 0);

// The key sequence `action` is bound to; empty when it has none.
QKeySequence KeyOf(ViewerAction action, UINT command = 0, int index = 0);

// The binding of `key` pressed with `modifiers` in `scope`; null for none.
const KeyBinding* BindingForPress(int key, Qt::KeyboardModifiers modifiers, KeyScope scope);

// The Help page: the keys by where they act, then the mouse.
QString ShortcutsHelpHtml();

} // namespace zul::viewer
