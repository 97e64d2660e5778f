// ParaView's camera files: what ParaView wrote comes in unchanged, what we
// write reads back to the same view, and damaged files are refused with the
// property at fault named.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "KRAdvancedViews/formats/ParaViewFiles.h"

namespace {

using krav::format::NamedCamera;
using krav::format::ParaViewCamera;

// A camera configuration as ParaView 5.11's writer left it.
const std::string kWrittenByParaView = R"(<?xml version="1.0"?>
<PVCameraConfiguration description="ParaView camera configuration" version="1.0">
  <Proxy group="views" type="RenderView" id="301" servers="21">
    <Property name="CameraPosition" id="301.CameraPosition" number_of_elements="3">
      <Element index="0" value="-1223.8765001463357"/>
      <Element index="1" value="-1829.3732949555754"/>
      <Element index="2" value="1403.7530685920344"/>
    </Property>
    <Property name="CameraFocalPoint" id="301.CameraFocalPoint" number_of_elements="3">
      <Element index="0" value="0"/>
      <Element index="1" value="0"/>
      <Element index="2" value="-26.25"/>
    </Property>
    <Property name="CameraViewUp" id="301.CameraViewUp" number_of_elements="3">
      <Element index="0" value="0.09759000729485333"/>
      <Element index="1" value="0.19518001458970666"/>
      <Element index="2" value="0.9759000729485332"/>
    </Property>
    <Property name="CenterOfRotation" id="301.CenterOfRotation" number_of_elements="3">
      <Element index="0" value="0"/>
      <Element index="1" value="0"/>
      <Element index="2" value="-26.25"/>
    </Property>
    <Property name="RotationFactor" id="301.RotationFactor" number_of_elements="1">
      <Element index="0" value="1"/>
    </Property>
    <Property name="CameraViewAngle" id="301.CameraViewAngle" number_of_elements="1">
      <Element index="0" value="30"/>
    </Property>
    <Property name="CameraParallelScale" id="301.CameraParallelScale" number_of_elements="1">
      <Element index="0" value="679.3390629869594"/>
    </Property>
    <Property name="CameraParallelProjection" id="301.CameraParallelProjection" number_of_elements="1">
      <Element index="0" value="1"/>
      <Domain name="bool" id="301.CameraParallelProjection.bool"/>
    </Property>
  </Proxy>
</PVCameraConfiguration>
)";

double distance(const double a[3], const double b[3]) {
    return std::sqrt((a[0] - b[0]) * (a[0] - b[0]) + (a[1] - b[1]) * (a[1] - b[1]) +
                     (a[2] - b[2]) * (a[2] - b[2]));
}

std::string without(const std::string& text, const std::string& part) {
    std::string out = text;
    out.erase(out.find(part), part.size());
    return out;
}

std::string replaced(const std::string& text, const std::string& from, const std::string& to) {
    std::string out = text;
    out.replace(out.find(from), from.size(), to);
    return out;
}

TEST(ParaViewFiles, ACameraComesInAsParaViewWroteItAndGoesBackTheSame) {
    ParaViewCamera camera;
    std::string why;
    ASSERT_TRUE(krav::format::ParsePvcc(kWrittenByParaView, camera, why)) << why;
    EXPECT_DOUBLE_EQ(camera.position[1], -1829.3732949555754);
    EXPECT_DOUBLE_EQ(camera.focalPoint[2], -26.25);
    EXPECT_DOUBLE_EQ(camera.viewUp[2], 0.9759000729485332);
    EXPECT_TRUE(camera.parallelProjection);

    // As a stored view: the same eye, target and up (to float precision),
    // parallel, with the angle that shows the same height at the target.
    const FullViewInfo view = krav::format::ViewOfParaViewCamera(camera);
    EXPECT_EQ(view.cameraType, Orthographic);
    EXPECT_TRUE(view.bHasFromAndAt);
    EXPECT_FLOAT_EQ(view.pFromVector[0], -1223.8765f);
    EXPECT_FLOAT_EQ(view.pAtVector[2], -26.25f);
    EXPECT_FLOAT_EQ(view.pUpVector[1], 0.19518001f);
    const double d = distance(camera.position, camera.focalPoint);
    EXPECT_NEAR(view.viewAngle, 2 * std::atan(679.3390629869594 / d) * 180 / M_PI, 1e-4);

    // Back out, and read again: the same camera, but for float rounding.
    bool directionOnly = true;
    const ParaViewCamera out = krav::format::ParaViewCameraOf(view, {}, directionOnly);
    EXPECT_FALSE(directionOnly);
    ParaViewCamera again;
    ASSERT_TRUE(krav::format::ParsePvcc(krav::format::PvccText(out), again, why)) << why;
    for (int i = 0; i < 3; ++i) {
        EXPECT_NEAR(again.position[i], camera.position[i], 1e-3);
        EXPECT_NEAR(again.viewUp[i], camera.viewUp[i], 1e-6);
    }
    EXPECT_TRUE(again.parallelProjection);
    EXPECT_NEAR(again.parallelScale, camera.parallelScale, 1e-3);

    // A view holding a direction only is fitted to the sphere given: the
    // sphere fills the height of the view.
    FullViewInfo direction;
    direction.bHasFromAndAt = 0;
    direction.pViewVector[0] = 0, direction.pViewVector[1] = 0, direction.pViewVector[2] = -2;
    direction.viewAngle = 60;
    krav::format::FitSphere fit;
    fit.centre[0] = 5, fit.radius = 3;
    const ParaViewCamera fitted = krav::format::ParaViewCameraOf(direction, fit, directionOnly);
    EXPECT_TRUE(directionOnly);
    EXPECT_DOUBLE_EQ(fitted.focalPoint[0], 5);
    EXPECT_NEAR(fitted.position[2], 6, 1e-9); // 3 / sin(30 degrees), behind the centre
    EXPECT_NEAR(fitted.parallelScale, 6 * std::tan(M_PI / 6), 1e-9);
}

TEST(ParaViewFiles, ADamagedCameraFileIsRefusedNamingWhatIsWrong) {
    auto refusal = [](const std::string& bytes) {
        ParaViewCamera camera;
        std::string why;
        EXPECT_FALSE(krav::format::ParsePvcc(bytes, camera, why));
        return why;
    };
    const std::string angle =
        R"(<Property name="CameraViewAngle" id="301.CameraViewAngle" number_of_elements="1">
      <Element index="0" value="30"/>
    </Property>)";
    EXPECT_EQ(refusal(without(kWrittenByParaView, angle)),
              "the property CameraViewAngle is missing");
    EXPECT_EQ(refusal(replaced(kWrittenByParaView, "value=\"-26.25\"", "value=\"nan\"")),
              "the property CameraFocalPoint has a value that is not a finite number");
    EXPECT_EQ(
        refusal(replaced(kWrittenByParaView, "value=\"679.3390629869594\"", "value=\"1e999\"")),
        "the property CameraParallelScale has a value that is not a finite number");
    EXPECT_EQ(
        refusal(without(kWrittenByParaView, R"(<Element index="2" value="0.9759000729485332"/>)")),
        "the property CameraViewUp has fewer than 3 values");
    EXPECT_NE(refusal(replaced(kWrittenByParaView, "value=\"30\"", "value=\"180\""))
                  .find("CameraViewAngle"),
              std::string::npos);
    EXPECT_NE(refusal(kWrittenByParaView.substr(0, 900)).find("not XML"), std::string::npos);
    EXPECT_NE(refusal("<views/>").find("not a ParaView camera configuration"), std::string::npos);
    // Expat's guard holds against entities that expand without bound.
    std::string bomb = "<?xml version=\"1.0\"?><!DOCTYPE x [<!ENTITY a \"aaaaaaaaaa\">";
    for (char c = 'b'; c <= 'j'; ++c) {
        bomb += std::string("<!ENTITY ") + c + " \"";
        for (int i = 0; i < 10; ++i)
            bomb += std::string("&") + char(c - 1) + ";";
        bomb += "\">";
    }
    bomb += "]><PVCameraConfiguration a=\"&j;\"/>";
    EXPECT_FALSE(refusal(bomb).empty());
    std::string deep;
    for (int i = 0; i < 100000; ++i)
        deep += "<a>";
    EXPECT_NE(refusal(deep).find("deeper"), std::string::npos);
}

TEST(ParaViewFiles, CustomViewpointsKeepTheirNamesAndLeaveOutWhatHoldsNoCamera) {
    ParaViewCamera camera;
    std::string why;
    ASSERT_TRUE(krav::format::ParsePvcc(kWrittenByParaView, camera, why));
    const std::vector<NamedCamera> cameras = {
        {"Front & \"back\" <1>", camera}, {"Südansicht\ttab", camera}, {"Third", camera}};
    std::string text;
    ASSERT_TRUE(krav::format::PvcvbcText(cameras, text, why)) << why;

    // An unassigned button, as ParaView writes one, and a damaged camera.
    text = replaced(text, "</CustomViewpointsConfiguration>",
                    "  <CustomViewpointButton3>\n    <ToolTip value=\"Unnamed Viewpoint\"/>\n"
                    "    <Configuration is_empty=\"1\"/>\n  </CustomViewpointButton3>\n"
                    "</CustomViewpointsConfiguration>");
    const size_t third = text.find("Third");
    text.replace(text.find("CameraViewUp", third), 12, "CameraViewUpX");

    std::vector<NamedCamera> read;
    std::vector<std::string> notes;
    ASSERT_TRUE(krav::format::ParsePvcvbc(text, read, notes, why)) << why;
    ASSERT_EQ(read.size(), 2u);
    EXPECT_EQ(read[0].name, cameras[0].name);
    EXPECT_EQ(read[1].name, cameras[1].name);
    EXPECT_DOUBLE_EQ(read[1].camera.position[0], camera.position[0]);
    ASSERT_EQ(notes.size(), 2u);
    EXPECT_EQ(notes[0], "the viewpoint 'Third' was left out: the property CameraViewUp is missing");
    EXPECT_EQ(notes[1], "the viewpoint 'Unnamed Viewpoint' holds no camera; it was left out");

    // A name that is not UTF-8 cannot be written into XML: nothing is.
    text.clear();
    EXPECT_FALSE(krav::format::PvcvbcText({{"Ansicht S\xfc"
                                            "d",
                                            camera}},
                                          text, why));
    EXPECT_NE(why.find("Ansicht"), std::string::npos);
    EXPECT_TRUE(text.empty());
    EXPECT_FALSE(krav::format::ParsePvcvbc(kWrittenByParaView, read, notes, why));
    EXPECT_NE(why.find("not a ParaView custom viewpoints file"), std::string::npos);
}

} // namespace
