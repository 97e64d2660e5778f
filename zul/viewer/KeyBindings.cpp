#include "KeyBindings.h"

#include <QCoreApplication>

#include "KRAdvancedViews/ResourceIds.h"

namespace zul::viewer {

namespace {

using A = ViewerAction;
using S = KeyScope;
namespace ids = krav::ids;

std::vector<KeyBinding> s_table() {
    std::vector<KeyBinding> t = {
        {A::ModuleCommand, "X", S::View,
         QT_TRANSLATE_NOOP("KeyBindings", "+X: look along +X — shows the Left side"), nullptr,
         ids::kAlignPlusX},
        {A::ModuleCommand, "Y", S::View,
         QT_TRANSLATE_NOOP("KeyBindings", "+Y: look along +Y — shows the Front side"), nullptr,
         ids::kAlignPlusY},
        {A::ModuleCommand, "Z", S::View,
         QT_TRANSLATE_NOOP("KeyBindings", "+Z: look along +Z — shows the Bottom side"), nullptr,
         ids::kAlignPlusZ},
        {A::ModuleCommand, "Shift+X", S::View,
         QT_TRANSLATE_NOOP("KeyBindings", "-X: look along -X — shows the Right side"), nullptr,
         ids::kAlignMinusX},
        {A::ModuleCommand, "Shift+Y", S::View,
         QT_TRANSLATE_NOOP("KeyBindings", "-Y: look along -Y — shows the Back side"), nullptr,
         ids::kAlignMinusY},
        {A::ModuleCommand, "Shift+Z", S::View,
         QT_TRANSLATE_NOOP("KeyBindings", "-Z: look along -Z — shows the Top side"), nullptr,
         ids::kAlignMinusZ},
        {A::ModuleCommand, "I", S::View,
         QT_TRANSLATE_NOOP("KeyBindings", "+Isometric: shows the Front Right Top corner"), nullptr,
         ids::kAlignPlusIsometric},
        {A::ModuleCommand, "Shift+I", S::View,
         QT_TRANSLATE_NOOP("KeyBindings",
                           "-Isometric: shows the Back Right Top corner, upside down"),
         nullptr, ids::kAlignMinusIsometric},
    };
    for (int i = 0; i < 9; ++i) {
        static const char* const keys[9] = {"Ctrl+1", "Ctrl+2", "Ctrl+3", "Ctrl+4", "Ctrl+5",
                                            "Ctrl+6", "Ctrl+7", "Ctrl+8", "Ctrl+9"};
        t.push_back({A::StoredView, keys[i], S::View,
                     i == 0 ? QT_TRANSLATE_NOOP("KeyBindings", "Stored views 1 to 9, in list order")
                            : nullptr,
                     i == 0 ? "Ctrl+1 ... Ctrl+9" : nullptr, 0, i});
    }
    const std::vector<KeyBinding> rest = {
        {A::PreviousStoredView, "PgUp", S::View,
         QT_TRANSLATE_NOOP("KeyBindings", "The previous stored view"), "Page Up"},
        {A::NextStoredView, "PgDown", S::View,
         QT_TRANSLATE_NOOP("KeyBindings", "The next stored view"), "Page Down"},
        {A::ToggleProjection, "P", S::View,
         QT_TRANSLATE_NOOP("KeyBindings", "Perspective or orthographic"), nullptr},
        {A::ToggleLock, "L", S::View,
         QT_TRANSLATE_NOOP("KeyBindings", "Lock or free the up vector"), nullptr},
        {A::FitAll, "F", S::Window,
         QT_TRANSLATE_NOOP("KeyBindings", "Fit the whole model in the view"), nullptr},
        {A::DefaultView, "Home", S::Window,
         QT_TRANSLATE_NOOP("KeyBindings", "The default view (+Isometric when none is set), fitted"),
         nullptr},
        {A::CameraBack, "Alt+Left", S::Window, QT_TRANSLATE_NOOP("KeyBindings", "Camera back"),
         nullptr},
        {A::CameraForward, "Alt+Right", S::Window,
         QT_TRANSLATE_NOOP("KeyBindings", "Camera forward"), nullptr},
        {A::OpenModels, "Ctrl+O", S::Window, QT_TRANSLATE_NOOP("KeyBindings", "Open models"),
         nullptr},
        {A::StopReading, "Esc", S::Window,
         QT_TRANSLATE_NOOP("KeyBindings", "Stop reading models (the model shown stays)"), nullptr},
        {A::LargerPoints, "Ctrl+]", S::Window,
         QT_TRANSLATE_NOOP("KeyBindings", "Larger points (point clouds)"), nullptr},
        {A::SmallerPoints, "Ctrl+[", S::Window,
         QT_TRANSLATE_NOOP("KeyBindings", "Smaller points (point clouds)"), nullptr},
        {A::Quit, "Ctrl+Q", S::Window, QT_TRANSLATE_NOOP("KeyBindings", "Quit"), nullptr},
    };
    t.insert(t.end(), rest.begin(), rest.end());
    return t;
}

QString s_tr(const char* text) {
    return QCoreApplication::translate("KeyBindings", text);
}

} // namespace

const std::vector<KeyBinding>& KeyBindings() {
    static const std::vector<KeyBinding> table = s_table();
    return table;
}

const KeyBinding* BindingOf(ViewerAction action, UINT command, int index) {
    for (const KeyBinding& b : KeyBindings())
        if (b.action == action && (action != A::ModuleCommand || b.command == command) &&
            (action != A::StoredView || b.index == index))
            return &b;
    return nullptr;
}

QKeySequence KeyOf(ViewerAction action, UINT command, int index) {
    const KeyBinding* b = BindingOf(action, command, index);
    return b ? QKeySequence(QString::fromLatin1(b->keys)) : QKeySequence();
}

const KeyBinding* BindingForPress(int key, Qt::KeyboardModifiers modifiers, KeyScope scope) {
    // The keypad's keys count as the main keyboard's.
    const QKeySequence pressed(int(key | (modifiers & (Qt::ShiftModifier | Qt::ControlModifier |
                                                       Qt::AltModifier | Qt::MetaModifier))));
    for (const KeyBinding& b : KeyBindings())
        if (b.scope == scope && QKeySequence(QString::fromLatin1(b.keys)) == pressed) return &b;
    return nullptr;
}

QString ShortcutsHelpHtml() {
    QString html = QStringLiteral("<table cellpadding=3>");
    const auto group = [&](KeyScope scope, const QString& title) {
        html += QStringLiteral("<tr><td colspan=2><i>%1</i></td></tr>").arg(title);
        for (const KeyBinding& b : KeyBindings()) {
            if (b.scope != scope || !b.text) continue;
            const QString keys =
                b.helpKeys
                    ? QString::fromLatin1(b.helpKeys)
                    : QKeySequence(QString::fromLatin1(b.keys)).toString(QKeySequence::NativeText);
            html += QStringLiteral("<tr><td><b>%1</b></td><td>%2</td></tr>")
                        .arg(keys.toHtmlEscaped(), s_tr(b.text).toHtmlEscaped());
        }
    };
    group(KeyScope::View, s_tr("The camera and the stored views:"));
    group(KeyScope::Window, s_tr("The window:"));
    html += QStringLiteral("<tr><td colspan=2><i>%1</i></td></tr>").arg(s_tr("The mouse:"));
    const char* const mouse[][2] = {
        {"Left drag", "Orbit"},
        {"Middle drag", "Pan"},
        {"Wheel", "Zoom"},
        {"Cube in the corner", "Click a face's handle to see the model from that side"}};
    for (const auto& row : mouse)
        html += QStringLiteral("<tr><td>%1</td><td>%2</td></tr>").arg(s_tr(row[0]), s_tr(row[1]));
    return html + QStringLiteral("</table>");
}

} // namespace zul::viewer
