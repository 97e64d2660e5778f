// The view record and the vocabulary shared by every interface of the module.
#pragma once

#include <cstdint>

#include "zul/com/com.h"

enum CameraTypeEnum : int32_t {
    Orthographic = 0,
    Perspective = 1,
    CameraTypeNum = 2, // a count, never stored
};

enum AxisEnum : int32_t {
    PositiveX = 0,
    NegativeX = 1,
    PositiveY = 2,
    NegativeY = 3,
    PositiveZ = 4,
    NegativeZ = 5,
    PositiveIsometric = 6,
    NegativeIsometric = 7,
};

enum FileTypeEnum : int32_t {
    RegistryFile = 0, // the .reg export file
    TextFile = 1,     // the .qjv view file
};

// The bits of FullViewInfo::iChangeBits that the module interprets. A word of
// 0 restricts nothing: every part of the record counts.
enum ViewChangeBits : int32_t {
    ViewChangeViewVector = 0x2,
    ViewChangeAtPoint = 0x4,
    ViewChangeCarried = 0x10, // part of the default word; stored, not interpreted
    ViewChangeFromPoint = 0x20,
    ViewChangeCameraType = 0x200,
    ViewChangeViewAngle = 0x2000,
    ViewChangeDefaultView = 0x10000,
};

// One named view, passed by value across every interface. A default-constructed
// record holds the defaults every caller relies on for the fields it does not set.
struct FullViewInfo {
    float pUpVector[3] = {1.0f, 0.0f, 0.0f};
    float pViewVector[3] = {0.0f, 0.0f, 1.0f}; // eye towards the scene; any length
    CameraTypeEnum cameraType = Perspective;
    float pFromVector[3] = {0.0f, 0.0f, 0.0f}; // valid when bHasFromAndAt
    float pAtVector[3] = {0.0f, 0.0f, 0.0f};   // valid when bHasFromAndAt
    float viewAngle = 28.0f;                   // degrees
    int32_t iViewIndex = -1;                   // 1-based list position; < 1: none yet
    int32_t iChangeBits = ViewChangeCameraType | ViewChangeCarried | ViewChangeViewVector; // 0x212
    BOOL bHasFromAndAt = 1;
};

// The direction a record looks in, for a picture of it: from its look-from
// to its look-at when it has both and they differ, else its view vector.
inline void ViewDirectionOf(const FullViewInfo& info, float direction[3]) {
    float length = 0;
    for (int i = 0; i < 3; ++i) {
        direction[i] = info.pAtVector[i] - info.pFromVector[i];
        length += direction[i] < 0 ? -direction[i] : direction[i];
    }
    if (!info.bHasFromAndAt || !(length > 0))
        for (int i = 0; i < 3; ++i)
            direction[i] = info.pViewVector[i];
}

// Reserved: the Standard Views dialog parks a view under it while swapping two.
inline constexpr const char* kPlaceholderViewName = "PLACEHOLDER_VIEW_NAME";

// The most views a store holds (indices 1 to 128).
inline constexpr int kMaxViews = 128;

// The largest view file a store loads: a file of 128 views is about 40 KB.
inline constexpr uint64_t kMaxViewFileBytes = uint64_t(4) << 20;
