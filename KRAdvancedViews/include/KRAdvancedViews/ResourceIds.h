// The ids of the module's commands, menus and strings: what its menus send,
// what a host's toolbar may send, what the resource lookup answers. Macros
// (KRAV_ID_*) so that the menu resources, which are text, are built from the
// same numbers; code uses the typed constants below.
#pragma once

#include "zul/com/com.h"

// Commands (IHostCommandHandler::OnCommand).
#define KRAV_ID_STANDARD_VIEWS_POPUP                                                               \
    7130                            // the "&Standard Views" popup; stored views are added to it
#define KRAV_ID_ALIGN_DROPDOWN 7131 // shows the align commands (menu 235) as a pop-up menu
#define KRAV_ID_ROTATE_CLOCKWISE 7132
#define KRAV_ID_CONTROL_DIALOG 7133 // shows or hides the Rotate dialog
#define KRAV_ID_ROTATE_COUNTERCLOCKWISE 7134
#define KRAV_ID_ROTATE_DOWN 7135
#define KRAV_ID_ROTATE_LEFT 7136
#define KRAV_ID_ROTATE_RIGHT 7137
#define KRAV_ID_ROTATE_UP 7138
#define KRAV_ID_EDIT_DIALOG 7139 // shows or hides the Standard Views dialog
#define KRAV_ID_ALIGN_PLUS_ISOMETRIC 7140
#define KRAV_ID_ALIGN_MINUS_ISOMETRIC 7141
#define KRAV_ID_ALIGN_MINUS_X 7142
#define KRAV_ID_ALIGN_MINUS_Y 7143
#define KRAV_ID_ALIGN_MINUS_Z 7144
#define KRAV_ID_ALIGN_PLUS_X 7145
#define KRAV_ID_ALIGN_PLUS_Y 7146
#define KRAV_ID_ALIGN_PLUS_Z 7147
#define KRAV_ID_FIT_ALL 7148 // asks the host for its fit command (KRAV_ID_HOST_FIT_ALL)
#define KRAV_ID_MOVE_PLUS_Y 32801
#define KRAV_ID_MOVE_MINUS_Y 32802
#define KRAV_ID_MOVE_MINUS_X 32803
#define KRAV_ID_MOVE_PLUS_X 32804
#define KRAV_ID_MOVE_MINUS_Z 32805
#define KRAV_ID_MOVE_PLUS_Z 32806
#define KRAV_ID_FIRST_VIEW 17001  // the stored view of index i is command 17001 + i
#define KRAV_ID_HOST_FIT_ALL 6585 // the host's own command the module runs for 7148

// Menu resources.
#define KRAV_ID_MENU_FULL 205 // "&View" with "&Standard Views", "&Rotate" and the two dialogs
#define KRAV_ID_MENU_STANDARD_VIEWS 231 // the "&Standard Views" popup alone
#define KRAV_ID_MENU_SHORT 234          // "&View" with the two dialogs
#define KRAV_ID_MENU_ALIGN 235          // the align commands

namespace krav::ids {

// The resource types ZulGetModuleResource answers: a menu as text, and a
// string as NUL-terminated UTF-8 (the Windows resource type numbers).
inline constexpr DWORD kResourceMenu = 4;
inline constexpr DWORD kResourceString = 6;

inline constexpr UINT kStandardViewsPopup = KRAV_ID_STANDARD_VIEWS_POPUP;
inline constexpr UINT kAlignDropdown = KRAV_ID_ALIGN_DROPDOWN;
inline constexpr UINT kRotateClockwise = KRAV_ID_ROTATE_CLOCKWISE;
inline constexpr UINT kControlDialog = KRAV_ID_CONTROL_DIALOG;
inline constexpr UINT kRotateCounterclockwise = KRAV_ID_ROTATE_COUNTERCLOCKWISE;
inline constexpr UINT kRotateDown = KRAV_ID_ROTATE_DOWN;
inline constexpr UINT kRotateLeft = KRAV_ID_ROTATE_LEFT;
inline constexpr UINT kRotateRight = KRAV_ID_ROTATE_RIGHT;
inline constexpr UINT kRotateUp = KRAV_ID_ROTATE_UP;
inline constexpr UINT kEditDialog = KRAV_ID_EDIT_DIALOG;
inline constexpr UINT kAlignPlusIsometric = KRAV_ID_ALIGN_PLUS_ISOMETRIC;
inline constexpr UINT kAlignMinusIsometric = KRAV_ID_ALIGN_MINUS_ISOMETRIC;
inline constexpr UINT kAlignMinusX = KRAV_ID_ALIGN_MINUS_X;
inline constexpr UINT kAlignMinusY = KRAV_ID_ALIGN_MINUS_Y;
inline constexpr UINT kAlignMinusZ = KRAV_ID_ALIGN_MINUS_Z;
inline constexpr UINT kAlignPlusX = KRAV_ID_ALIGN_PLUS_X;
inline constexpr UINT kAlignPlusY = KRAV_ID_ALIGN_PLUS_Y;
inline constexpr UINT kAlignPlusZ = KRAV_ID_ALIGN_PLUS_Z;
inline constexpr UINT kFitAll = KRAV_ID_FIT_ALL;
inline constexpr UINT kMovePlusY = KRAV_ID_MOVE_PLUS_Y;
inline constexpr UINT kMoveMinusY = KRAV_ID_MOVE_MINUS_Y;
inline constexpr UINT kMoveMinusX = KRAV_ID_MOVE_MINUS_X;
inline constexpr UINT kMovePlusX = KRAV_ID_MOVE_PLUS_X;
inline constexpr UINT kMoveMinusZ = KRAV_ID_MOVE_MINUS_Z;
inline constexpr UINT kMovePlusZ = KRAV_ID_MOVE_PLUS_Z;
inline constexpr UINT kFirstView = KRAV_ID_FIRST_VIEW;
inline constexpr DWORD kHostFitAll = KRAV_ID_HOST_FIT_ALL;

inline constexpr UINT kMenuFull = KRAV_ID_MENU_FULL;
inline constexpr UINT kMenuStandardViews = KRAV_ID_MENU_STANDARD_VIEWS;
inline constexpr UINT kMenuShort = KRAV_ID_MENU_SHORT;
inline constexpr UINT kMenuAlign = KRAV_ID_MENU_ALIGN;

// Strings of the string table (ZulGetModuleResource, type 6).
enum StringId : unsigned {
    IDS_FILE_FROM_WINDOWS = 104,
    IDS_NON_NUMERIC = 105,
    IDS_VIEW_EXISTS = 106,
    IDS_TYPE_VIEW_NAME = 107,
    IDS_ANGLE_RANGE = 108,
    IDS_FILE_NOT_VALID = 109,
    IDS_PICK = 110,
    IDS_STOP_PICK = 111,
    IDS_POINT = 112,
    IDS_PART = 113,
    IDS_FACE = 114,
    IDS_EDGE = 115,
    IDS_VERTEX = 116,
    IDS_APPLY_VIEW = 122,
    IDS_APPLY_SELECTED_VIEW = 123,
    IDS_ZERO_VECTOR = 129,
    IDS_IDENTICAL_POINTS = 130,
    IDS_PARALLEL_VECTORS = 131,
    IDS_POSITIVE_ISOMETRIC = 132,
    IDS_NEGATIVE_ISOMETRIC = 133,
    IDS_MAX_VIEWS_LOADED = 139,
    IDS_LOCKED_UP_VECTOR = 141,
    // What a load left out or why a load or save failed, told by the store
    // itself ("%s" and "%d" are filled in order).
    IDS_LOAD_NOTES = 150,
    IDS_LOAD_FAILED = 151,
    IDS_SAVE_FAILED = 152,
    IDS_STORE_FAILED = 153,
    IDS_MORE_NOTES = 154,
    IDS_NOTE_LINE_TOO_LONG = 155,
    IDS_NOTE_NOT_UTF16 = 156,
    IDS_NOTE_INCOMPLETE = 157,
    IDS_NOTE_UNREADABLE = 158,
    IDS_NOTE_BAD_VECTOR = 159,
    IDS_NOTE_BAD_NUMBER = 160,
    IDS_NOTE_NO_NAME = 161,
    IDS_NOTE_STORE_FULL = 162,
    IDS_NOTE_NOT_STORED = 163,
    IDS_NOTE_FEWER_VIEWS = 164,
    IDS_VIEW_FILES = 32786,
    IDS_REG_FILES = 32787,
    IDS_CONFIRM_DELETE = 32788,
};

} // namespace krav::ids
