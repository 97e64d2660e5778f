#include <gtest/gtest.h>

#include <random>

#include "ViewInfo.h"

TEST(ViewRecord, FreshRecordHoldsTheDefaults) {
    const FullViewInfo r;
    EXPECT_EQ(r.pUpVector[0], 1.0f);
    EXPECT_EQ(r.pUpVector[1], 0.0f);
    EXPECT_EQ(r.pViewVector[2], 1.0f);
    EXPECT_EQ(r.cameraType, Perspective);
    EXPECT_EQ(r.pFromVector[0] + r.pFromVector[1] + r.pFromVector[2] + r.pAtVector[0] +
                  r.pAtVector[1] + r.pAtVector[2],
              0.0f);
    EXPECT_EQ(r.viewAngle, 28.0f);
    EXPECT_EQ(r.iViewIndex, -1);
    EXPECT_EQ(r.iChangeBits, 0x212);
    EXPECT_EQ(r.bHasFromAndAt, 1);
    static_assert(sizeof(FullViewInfo) == 4 * 17, "the record is 17 packed 32-bit fields");
}

TEST(ViewRecord, ComparisonReportsTheFirstDifferenceTheChangeBitsAllow) {
    std::string msg;
    FullViewInfo a, b;
    EXPECT_TRUE(krav::CompareViewInfo(a, b, &msg));
    EXPECT_EQ(msg, "");

    b.cameraType = Orthographic;
    EXPECT_FALSE(krav::CompareViewInfo(a, b, &msg));
    EXPECT_EQ(msg, "Camera Type mismatch");
    b.iChangeBits = 0x2; // B does not care for the camera type
    EXPECT_TRUE(krav::CompareViewInfo(a, b, &msg));

    b = FullViewInfo();
    b.viewAngle = 28.000002f; // within the scaled epsilon
    EXPECT_TRUE(krav::CompareViewInfo(a, b, &msg));
    b.viewAngle = 29.0f;
    EXPECT_TRUE(krav::CompareViewInfo(a, b, &msg)) << "the default word 0x212 leaves the angle out";
    a.iChangeBits = 0;
    b.iChangeBits = 0x2000;
    EXPECT_FALSE(krav::CompareViewInfo(a, b, &msg));
    EXPECT_EQ(msg, "View angle mismatch");
    a.iChangeBits = 0x212;

    b = FullViewInfo();
    b.pViewVector[2] = 250.0f; // same direction, other length
    b.pUpVector[0] = 3.0f;
    EXPECT_TRUE(krav::CompareViewInfo(a, b, &msg));
    b.pViewVector[1] = 1.0f;
    EXPECT_FALSE(krav::CompareViewInfo(a, b, &msg));
    EXPECT_EQ(msg, "View Vector MisMatch");
    b.pUpVector[1] = 1.0f;
    EXPECT_FALSE(krav::CompareViewInfo(a, b, &msg));
    EXPECT_EQ(msg, "Up Vector MisMatch")
        << "up vector is checked before the view vector of the same component";

    // Look-from points count only when both records have them and both words carry 0x20.
    b = FullViewInfo();
    b.pFromVector[0] = 5.0f;
    a.iChangeBits = b.iChangeBits = 0x20;
    EXPECT_FALSE(krav::CompareViewInfo(a, b, &msg));
    EXPECT_EQ(msg, "From Vector MisMatch");
    b.bHasFromAndAt = 0;
    EXPECT_TRUE(krav::CompareViewInfo(a, b, &msg));
    b.bHasFromAndAt = 1;
    b.iChangeBits = 0x4;
    EXPECT_TRUE(krav::CompareViewInfo(a, b, &msg));
    b.iChangeBits = 0; // one word zero: the other decides
    EXPECT_FALSE(krav::CompareViewInfo(a, b, &msg));
    a.iChangeBits = 0; // both zero: everything counts
    b.pFromVector[0] = 0;
    b.pAtVector[2] = -1;
    EXPECT_FALSE(krav::CompareViewInfo(a, b, &msg));
    EXPECT_EQ(msg, "At Vector MisMatch");
    EXPECT_TRUE(krav::FloatsEqual(0.0f, 0.0f));
    EXPECT_FALSE(krav::FloatsEqual(0.0f, 1e-30f)) << "a comparison with 0 is exact";
}

TEST(ViewRecord, NameEncodingKeepsBackslashesOutAndRoundTrips) {
    std::string enc, dec;
    EXPECT_EQ(krav::s_encode("a\\b", enc), 5);
    EXPECT_EQ(enc[0], '#');
    EXPECT_EQ(enc.find('\\'), std::string::npos);
    EXPECT_EQ(krav::s_decode(enc, dec), 3);
    EXPECT_EQ(dec, "a\\b");
    EXPECT_EQ(krav::s_encode("", enc), 0);
    EXPECT_EQ(enc, "");

    std::mt19937 rng(7);
    for (size_t n : {1u, 2u, 3u, 44u, 45u, 46u, 90u, 91u, 300u}) {
        std::string in(n, '\0');
        for (char& c : in)
            c = static_cast<char>(rng());
        const int len = krav::s_encode(in, enc);
        EXPECT_EQ(static_cast<size_t>(len), (n + 44) / 45 + (n + 2) / 3 * 4) << n;
        EXPECT_EQ(enc.find('\\'), std::string::npos);
        EXPECT_EQ(krav::s_decode(enc, dec), static_cast<int>(n));
        EXPECT_EQ(dec, in);
    }
    EXPECT_EQ(krav::s_decode("#ab", dec), -1) << "truncated";
    EXPECT_EQ(krav::s_decode("!\\\\\\\\", dec), -1) << "a backslash is never produced";
    EXPECT_EQ(krav::s_decode("#a~bc", dec), -1);
}
