// The German resource module, KRAdvancedViews_res: the same string and menu
// ids as the built-in table, translated. The module loads it at start from
// $ZUL_RESPATH and takes its texts from here.

#include "resources/StringTable.h"

namespace {

using krav::ResourceEntry;

constexpr ResourceEntry kStrings[] = {
    {krav::IDS_FILE_FROM_WINDOWS,
     "Die Datei %s wurde unter Windows erstellt und kann unter UNIX nicht ge\u00f6ffnet werden."},
    {krav::IDS_NON_NUMERIC, "Es wurde ein nicht numerischer Wert eingegeben."},
    {krav::IDS_VIEW_EXISTS, "Eine Ansicht mit diesem Namen ist bereits vorhanden.  Geben Sie einen "
                            "anderen Ansichtsnamen an."},
    {krav::IDS_TYPE_VIEW_NAME, "Sie m\u00fcssen einen Ansichtsnamen eingeben."},
    {krav::IDS_ANGLE_RANGE,
     "Es wurde ein Winkel au\u00dferhalb des g\u00fcltigen Bereichs eingegeben.\nBitte geben Sie "
     "einen Zahlenwert zwischen -360 und 360 ein."},
    {krav::IDS_FILE_NOT_VALID, "Die Datei %s ist keine g\u00fcltige Datei."},
    {krav::IDS_PICK, "Ausw\u00e4hlen"},
    {krav::IDS_STOP_PICK, "Auswahl beenden"},
    {krav::IDS_POINT, "Punkt"},
    {krav::IDS_PART, "Teil"},
    {krav::IDS_FACE, "Fl\u00e4che"},
    {krav::IDS_EDGE, "Kante"},
    {krav::IDS_VERTEX, "Eckpunkt"},
    {krav::IDS_APPLY_VIEW, "Ansicht anwenden"},
    {krav::IDS_APPLY_SELECTED_VIEW, "Ausgew\u00e4hlte Ansicht anwenden"},
    {krav::IDS_ZERO_VECTOR, "Es wurde ein Vektor der L\u00e4nge null eingegeben."},
    {krav::IDS_IDENTICAL_POINTS, "Es wurden zwei identische Punkte eingegeben."},
    {krav::IDS_PARALLEL_VECTORS, "Es wurden zwei parallele Vektoren eingegeben."},
    {krav::IDS_POSITIVE_ISOMETRIC, "+Isometrisch"},
    {krav::IDS_NEGATIVE_ISOMETRIC, "-Isometrisch"},
    {krav::IDS_MAX_VIEWS_LOADED, "Die H\u00f6chstzahl an Ansichten ist erreicht.  Einige Ansichten "
                                 "wurden m\u00f6glicherweise nicht geladen."},
    {krav::IDS_LOCKED_UP_VECTOR,
     "Diese Ansicht kann mit dem gesperrten Aufw\u00e4rtsvektor nicht angewendet werden."},
    {krav::IDS_LOAD_NOTES, "Die Datei %s wurde nicht vollst\u00e4ndig geladen:"},
    {krav::IDS_LOAD_FAILED, "Die Datei %s konnte nicht geladen werden: %s."},
    {krav::IDS_SAVE_FAILED, "Die Datei %s konnte nicht gespeichert werden: %s."},
    {krav::IDS_STORE_FAILED, "Die Ansichten der Datei %s konnten nicht gespeichert werden: %s."},
    {krav::IDS_MORE_NOTES, "... und %d weitere."},
    {krav::IDS_NOTE_LINE_TOO_LONG,
     "Zeile %d ist l\u00e4nger als die %d Zeichen, die eine Zeile haben darf; sie und der Rest "
     "der Datei wurden nicht gelesen."},
    {krav::IDS_NOTE_NOT_UTF16, "Zeile %d ist kein g\u00fcltiger UTF-16-Text; sie und der Rest "
                               "der Datei wurden nicht gelesen."},
    {krav::IDS_NOTE_INCOMPLETE,
     "Ansicht \"%s\" (Zeile %d) ist unvollst\u00e4ndig; sie wurde nicht geladen."},
    {krav::IDS_NOTE_UNREADABLE, "Ansicht \"%s\", Zeile %d: eine Zahl ist nicht lesbar; sie und "
                                "der Rest der Datei wurden nicht gelesen."},
    {krav::IDS_NOTE_BAD_VECTOR, "Ansicht \"%s\", Zeile %d: %s besteht nicht aus drei endlichen "
                                "Zahlen; der Standardwert bleibt erhalten."},
    {krav::IDS_NOTE_BAD_NUMBER,
     "Ansicht \"%s\", Zeile %d: %s ist keine Zahl; der Standardwert bleibt erhalten."},
    {krav::IDS_NOTE_NO_NAME, "Die Ansicht in Zeile %d hat keinen Namen; sie wurde nicht geladen."},
    {krav::IDS_NOTE_STORE_FULL, "Ansicht \"%s\" wurde nicht geladen: es sind h\u00f6chstens %d "
                                "Ansichten m\u00f6glich."},
    {krav::IDS_NOTE_NOT_STORED, "Ansicht \"%s\" wurde nicht gespeichert: %s."},
    {krav::IDS_NOTE_FEWER_VIEWS, "Die Datei k\u00fcndigt %s Ansichten an, enth\u00e4lt aber %s; "
                                 "sie wurde m\u00f6glicherweise abgeschnitten."},
    {krav::IDS_VIEW_FILES, "Ansichtsdateien"},
    {krav::IDS_REG_FILES, "Registrierungsdateien"},
    {krav::IDS_CONFIRM_DELETE, "M\u00f6chten Sie die Ansicht(en) wirklich l\u00f6schen?"},
};

// clang-format off
#define KRAV_ALIGN_ITEMS_DE \
    "ITEM " KRAV_STR(KRAV_ID_ALIGN_PLUS_X) " +&X\n" \
    "ITEM " KRAV_STR(KRAV_ID_ALIGN_MINUS_X) " -X\n" \
    "ITEM " KRAV_STR(KRAV_ID_ALIGN_PLUS_Y) " +&Y\n" \
    "ITEM " KRAV_STR(KRAV_ID_ALIGN_MINUS_Y) " -Y\n" \
    "ITEM " KRAV_STR(KRAV_ID_ALIGN_PLUS_Z) " +&Z\n" \
    "ITEM " KRAV_STR(KRAV_ID_ALIGN_MINUS_Z) " -Z\n" \
    "ITEM " KRAV_STR(KRAV_ID_ALIGN_PLUS_ISOMETRIC) " +&Isometrisch\n" \
    "ITEM " KRAV_STR(KRAV_ID_ALIGN_MINUS_ISOMETRIC) " -Isometrisch\n"
#define KRAV_ROTATE_ITEMS_DE \
    "ITEM " KRAV_STR(KRAV_ID_ROTATE_CLOCKWISE) " Im &Uhrzeigersinn\n" \
    "ITEM " KRAV_STR(KRAV_ID_ROTATE_COUNTERCLOCKWISE) " &Gegen den Uhrzeigersinn\n" \
    "ITEM " KRAV_STR(KRAV_ID_ROTATE_UP) " Nach &oben\n" \
    "ITEM " KRAV_STR(KRAV_ID_ROTATE_DOWN) " Nach &unten\n" \
    "ITEM " KRAV_STR(KRAV_ID_ROTATE_LEFT) " Nach &links\n" \
    "ITEM " KRAV_STR(KRAV_ID_ROTATE_RIGHT) " Nach &rechts\n"
constexpr ResourceEntry kMenus[] = {
    {KRAV_ID_MENU_FULL,
     "POPUP 0 &Ansicht\n"
     "POPUP " KRAV_STR(KRAV_ID_STANDARD_VIEWS_POPUP) " &Standardansichten\n" KRAV_ALIGN_ITEMS_DE "SEPARATOR\n"
     "END\n"
     "POPUP 0 &Drehen\n" KRAV_ROTATE_ITEMS_DE
     "END\n"
     "SEPARATOR\n"
     "ITEM " KRAV_STR(KRAV_ID_CONTROL_DIALOG) " &Steuerdialog ...\n"
     "ITEM " KRAV_STR(KRAV_ID_EDIT_DIALOG) " &Bearbeiten ...\n"
     "END\n"},
    {KRAV_ID_MENU_STANDARD_VIEWS,
     "POPUP " KRAV_STR(KRAV_ID_STANDARD_VIEWS_POPUP) " &Standardansichten\n" KRAV_ALIGN_ITEMS_DE
     "END\n"},
    {KRAV_ID_MENU_SHORT,
     "POPUP 0 &Ansicht\n"
     "ITEM " KRAV_STR(KRAV_ID_CONTROL_DIALOG) " &Steuerdialog ...\n"
     "ITEM " KRAV_STR(KRAV_ID_EDIT_DIALOG) " &Bearbeiten ...\n"
     "END\n"},
    {KRAV_ID_MENU_ALIGN, KRAV_ALIGN_ITEMS_DE},
};
// clang-format on

} // namespace

extern "C" __attribute__((visibility("default"))) HRESULT
ZulGetModuleResource(DWORD type, DWORD id, const void** data, DWORD* size) {
    return krav::AnswerResource(kStrings, kMenus, type, id, data, size);
}
