#include <gtest/gtest.h>

#include <cmath>

#include "dialogs/ViewAngles.h"

using krav::dialogs::AnglesToVectors;
using krav::dialogs::VectorsToAngles;

namespace {

double dot(const double a[3], const double b[3]) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

} // namespace

TEST(ViewAngles, NamedOrientationsMeanWhatACadUserExpects) {
    struct Case {
        double angles[3];
        double view[3];
        double up[3];
    } cases[] = {
        {{0, 0, 0}, {0, 0, -1}, {0, 1, 0}},   // plan: from +Z, Y up
        {{90, 0, 0}, {0, 1, 0}, {0, 0, 1}},   // front: from -Y, Z up
        {{0, 90, 0}, {-1, 0, 0}, {0, 1, 0}},  // from +X
        {{0, 0, 90}, {0, 0, -1}, {-1, 0, 0}}, // plan turned a quarter about Z
    };
    for (const Case& c : cases) {
        double view[3], up[3];
        AnglesToVectors(c.angles, view, up);
        for (int i = 0; i < 3; ++i) {
            EXPECT_NEAR(view[i], c.view[i], 1e-12);
            EXPECT_NEAR(up[i], c.up[i], 1e-12);
        }
    }
}

TEST(ViewAngles, RoundTripsBothWays) {
    // Angles -> vectors -> angles gives the same angles inside the canonical
    // ranges, and vectors -> angles -> vectors the same orientation everywhere,
    // the view along X (where X and Z angles mix) included.
    for (double a = -170; a <= 180; a += 35)
        for (double b = -90; b <= 90; b += 15)
            for (double c = -175; c <= 180; c += 45) {
                const double angles[3] = {a, b, c};
                double view[3], up[3], back[3];
                AnglesToVectors(angles, view, up);
                EXPECT_NEAR(dot(view, up), 0.0, 1e-12);
                ASSERT_TRUE(VectorsToAngles(view, up, back));
                double view2[3], up2[3];
                AnglesToVectors(back, view2, up2);
                EXPECT_NEAR(dot(view, view2), 1.0, 1e-9) << a << " " << b << " " << c;
                EXPECT_NEAR(dot(up, up2), 1.0, 1e-9) << a << " " << b << " " << c;
                if (std::fabs(b) < 89.9) {
                    EXPECT_NEAR(back[0], a, 1e-7);
                    EXPECT_NEAR(back[1], b, 1e-7);
                    EXPECT_NEAR(back[2], c, 1e-7);
                } else {
                    EXPECT_EQ(back[0], 0.0) << "at the pole the X angle is folded into Z";
                }
            }
}

TEST(ViewAngles, AnUpVectorOnlyNeedsToLeanAcrossTheView) {
    const double view[3] = {0, 0, -5}, slanted[3] = {0, 3, 3}, zero[3] = {0, 0, 0},
                 along[3] = {0, 0, 2};
    double angles[3];
    ASSERT_TRUE(VectorsToAngles(view, slanted, angles));
    EXPECT_NEAR(angles[0], 0, 1e-12);
    EXPECT_NEAR(angles[1], 0, 1e-12);
    EXPECT_NEAR(angles[2], 0, 1e-12);
    EXPECT_FALSE(VectorsToAngles(view, zero, angles));
    EXPECT_FALSE(VectorsToAngles(zero, slanted, angles));
    EXPECT_FALSE(VectorsToAngles(view, along, angles));
}
