// Three angles <-> a view direction and an up vector, as the Standard Views
// dialog shows an orientation.
//
// The angles are the rotations, in degrees, that turn the reference view into
// the view: first about the world X axis, then about the world Y axis, then
// about the world Z axis (fixed axes, R = Rz * Ry * Rx). The reference view
// looks down the -Z axis (from +Z) with +Y up, the plan view a CAD user knows
// as "Top". So (0, 0, 0) looks from +Z, (90, 0, 0) tilts it to look from -Y
// ("Front", Z up), (0, 0, 90) turns the camera a quarter turn about Z
// (up becomes -X).
//
// From vectors to angles the answer is the one with the Y angle in
// [-90, 90] and the X and Z angles in (-180, 180]; at Y = +-90 (the view along
// the X axis) the X angle is 0 and the Z angle carries the turn.
#pragma once

namespace krav::dialogs {

// `view` (eye towards the scene) and `up`, both unit length and perpendicular.
void AnglesToVectors(const double angles[3], double view[3], double up[3]);

// False when `view` or `up` is zero or they are parallel; else `angles`.
// `up` need not be perpendicular to `view`: only its part across the view counts.
bool VectorsToAngles(const double view[3], const double up[3], double angles[3]);

} // namespace krav::dialogs
