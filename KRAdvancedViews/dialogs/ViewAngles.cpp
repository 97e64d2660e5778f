#include "dialogs/ViewAngles.h"

#include <cmath>

namespace krav::dialogs {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kDeg = kPi / 180.0;

void s_cross(const double a[3], const double b[3], double out[3]) {
    out[0] = a[1] * b[2] - a[2] * b[1];
    out[1] = a[2] * b[0] - a[0] * b[2];
    out[2] = a[0] * b[1] - a[1] * b[0];
}

double s_length(const double v[3]) {
    return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
}

// Rotation R = Rz(c) * Ry(b) * Rx(a), row-major.
void s_matrix(const double angles[3], double r[3][3]) {
    const double ca = std::cos(angles[0] * kDeg), sa = std::sin(angles[0] * kDeg);
    const double cb = std::cos(angles[1] * kDeg), sb = std::sin(angles[1] * kDeg);
    const double cc = std::cos(angles[2] * kDeg), sc = std::sin(angles[2] * kDeg);
    r[0][0] = cc * cb, r[0][1] = cc * sb * sa - sc * ca, r[0][2] = cc * sb * ca + sc * sa;
    r[1][0] = sc * cb, r[1][1] = sc * sb * sa + cc * ca, r[1][2] = sc * sb * ca - cc * sa;
    r[2][0] = -sb, r[2][1] = cb * sa, r[2][2] = cb * ca;
}

// Angles in (-180, 180], with -0 and a value a rounding step below -180 tidied.
double s_tidy(double degrees) {
    if (std::fabs(degrees) < 1e-9) return 0.0;
    if (degrees <= -180.0 + 1e-9) degrees += 360.0;
    return degrees;
}

} // namespace

void AnglesToVectors(const double angles[3], double view[3], double up[3]) {
    double r[3][3];
    s_matrix(angles, r);
    // view = R * (0, 0, -1), up = R * (0, 1, 0)
    for (int i = 0; i < 3; ++i) {
        view[i] = -r[i][2];
        up[i] = r[i][1];
    }
}

bool VectorsToAngles(const double view[3], const double up[3], double angles[3]) {
    const double lv = s_length(view);
    if (lv == 0.0 || s_length(up) == 0.0) return false;
    // Columns of R: x = up x -view... built as an orthonormal frame from view and up.
    double z[3] = {-view[0] / lv, -view[1] / lv, -view[2] / lv}; // R * e_z
    double x[3];
    s_cross(up, z, x); // R * e_x = y x z
    const double lx = s_length(x);
    if (lx < 1e-9 * s_length(up)) return false;
    for (double& c : x)
        c /= lx;
    double y[3];
    s_cross(z, x, y);
    // r[i][j] = column j, row i.
    const double r20 = x[2], r21 = y[2], r22 = z[2], r10 = x[1], r00 = x[0], r01 = y[0], r11 = y[1];
    const double sb = std::fmax(-1.0, std::fmin(1.0, -r20));
    angles[1] = std::asin(sb) / kDeg;
    if (std::fabs(sb) > 1.0 - 1e-12) {
        angles[0] = 0.0;
        angles[2] = std::atan2(-r01, r11) / kDeg;
    } else {
        angles[0] = std::atan2(r21, r22) / kDeg;
        angles[2] = std::atan2(r10, r00) / kDeg;
    }
    for (int i = 0; i < 3; ++i)
        angles[i] = s_tidy(angles[i]);
    return true;
}

} // namespace krav::dialogs
