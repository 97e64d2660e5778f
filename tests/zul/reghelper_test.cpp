#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include "TempHive.h"
#include "zul/registry/RegHelper.h"
#include "zul/registry/Transaction.h"

class RegHelperTest : public zul::test::TempHiveTest {};

TEST_F(RegHelperTest, UserSettingsPathAndTypedValues) {
    CRegHelper reg("KRAdvancedViews2\\VIEW_0001", RegPathUserSettings);
    EXPECT_EQ(reg.GetRootKey(), HKEY_CURRENT_USER);
    EXPECT_EQ(reg.GetRegPath(), "Software\\ZUL\\KRAdvancedViews2\\VIEW_0001");

    // Reading creates nothing.
    float f = 7;
    EXPECT_EQ(reg.GetFloat("FOV", f), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(f, 7);
    EXPECT_FALSE(std::filesystem::exists(userHive_));

    EXPECT_EQ(reg.SetInt("Index", -3), 0);
    EXPECT_EQ(reg.SetDWORD("Camera Type", 1), 0);
    EXPECT_EQ(reg.SetBOOL("Has At And From", 5), 0);
    EXPECT_EQ(reg.SetString("View Name", "+X"), 0);
    const unsigned char raw[4] = {1, 2, 3, 4};
    EXPECT_EQ(reg.SetBytes("UpVector X", raw, 4), 0);

    int i = 0;
    DWORD d = 0;
    BOOL b = 0;
    std::string s;
    unsigned char back[4] = {};
    EXPECT_EQ(reg.GetInt("Index", i), 0);
    EXPECT_EQ(i, -3);
    EXPECT_EQ(reg.GetDWORD("camera type", d), 0);
    EXPECT_EQ(d, 1u);
    EXPECT_EQ(reg.GetBOOL("Has At And From", b), 0);
    EXPECT_EQ(b, TRUE);
    EXPECT_EQ(reg.GetString("View Name", s), 0);
    EXPECT_EQ(s, "+X");
    EXPECT_EQ(reg.GetBytes("UpVector X", back, 4), 0);
    EXPECT_EQ(std::memcmp(raw, back, 4), 0);

    // Registry types as another reader sees them.
    HKEY k = nullptr;
    ASSERT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, "software\\zul\\krADVANCEDviews2\\view_0001", 0,
                            KEY_READ, &k),
              0);
    DWORD type = 0;
    EXPECT_EQ(RegQueryValueExA(k, "Index", nullptr, &type, nullptr, nullptr), 0);
    EXPECT_EQ(type, REG_DWORD);
    EXPECT_EQ(RegQueryValueExA(k, "UpVector X", nullptr, &type, nullptr, nullptr), 0);
    EXPECT_EQ(type, REG_BINARY);
    RegCloseKey(k);

    // A typed read of another type fails and leaves the output as it was.
    s = "untouched";
    i = 42;
    EXPECT_EQ(reg.GetString("Index", s), ERROR_UNSUPPORTED_TYPE);
    EXPECT_EQ(s, "untouched");
    EXPECT_EQ(reg.GetInt("View Name", i), ERROR_UNSUPPORTED_TYPE);
    EXPECT_EQ(i, 42);
    f = 9;
    EXPECT_EQ(reg.GetFloat("Index", f), ERROR_UNSUPPORTED_TYPE);
    EXPECT_EQ(reg.GetFloat("View Name", f), ERROR_INVALID_DATA) << "text that is not a number";
    EXPECT_EQ(f, 9);
    unsigned char three[3];
    EXPECT_EQ(reg.GetBytes("UpVector X", three, 3), ERROR_INVALID_DATA);
    EXPECT_EQ(reg.SetString("x", nullptr), ERROR_INVALID_PARAMETER);

    EXPECT_EQ(reg.DeleteKey(), 0);
    EXPECT_EQ(reg.GetInt("Index", i), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(reg.DeleteKey(), ERROR_FILE_NOT_FOUND);
    // The helper recreates its key on the next write.
    EXPECT_EQ(reg.SetInt("Index", 1), 0);
}

TEST_F(RegHelperTest, FloatsRoundTripBitForBitAsReadableText) {
    CRegHelper reg("Floats", RegPathUserSettings);
    const float samples[] = {0.0f,
                             -0.0f,
                             1.0f,
                             -1.0f,
                             260.315f,
                             -1.03412e-13f,
                             0.1f,
                             1.0f / 3.0f,
                             std::numeric_limits<float>::max(),
                             std::numeric_limits<float>::min(),
                             std::numeric_limits<float>::denorm_min(),
                             123456789.0f,
                             -45.0f};
    for (const float v : samples) {
        ASSERT_EQ(reg.SetFloat("v", v), 0);
        float back = 12345;
        ASSERT_EQ(reg.GetFloat("v", back), 0);
        EXPECT_EQ(std::bit_cast<uint32_t>(back), std::bit_cast<uint32_t>(v)) << v;
    }
    ASSERT_EQ(reg.SetFloat("v", -1.03412e-13f), 0);
    std::string text;
    ASSERT_EQ(reg.GetString("v", text), 0);
    EXPECT_EQ(text, "-1.03412003e-13"); // nine significant digits
    ASSERT_EQ(reg.SetFloat("v", 260.315f), 0);
    ASSERT_EQ(reg.GetString("v", text), 0);
    EXPECT_EQ(text, "260.315002");
}

TEST_F(RegHelperTest, OneRecordInOneTransaction) {
    {
        zul::registry::Transaction tx;
        CRegHelper reg("KRAdvancedViews2\\VIEW_0002", RegPathUserSettings);
        ASSERT_EQ(reg.SetString("View Name", "half"), 0);
        ASSERT_EQ(reg.SetInt("Index", 2), 0);
        // abandoned: as if the process died here
    }
    CRegHelper reg("KRAdvancedViews2\\VIEW_0002", RegPathUserSettings);
    std::string s;
    EXPECT_EQ(reg.GetString("View Name", s), ERROR_FILE_NOT_FOUND);
    HKEY k = nullptr;
    EXPECT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, "Software\\ZUL\\KRAdvancedViews2", 0, KEY_READ, &k),
              ERROR_FILE_NOT_FOUND);
}
