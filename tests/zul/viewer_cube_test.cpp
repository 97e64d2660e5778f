// The view cube as a user meets it: clicked with the mouse on its faces,
// edges, corners and roll arrows, against the toolbar's views.
#include <QEvent>
#include <QMouseEvent>
#include <QToolBar>

#include "ViewerE2E.h"

namespace {

using Direction = std::array<int, 3>;

std::array<double, 3> s_cross(const std::array<double, 3>& a, const std::array<double, 3>& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

} // namespace

class ViewCubeE2E : public ViewerE2E {
protected:
    zul::viewer::ViewCube* cube() { return window_->viewCube(); }
    // A press and release at the centre of the cube's part `d`, as drawn now.
    void clickPart(const Direction& d) {
        const std::optional<QPointF> at = cube()->CenterOf(d);
        ASSERT_TRUE(at) << "the part faces the eye";
        QTest::mouseClick(cube(), Qt::LeftButton, {}, at->toPoint());
    }
    void hover(const QPointF& at) {
        QMouseEvent move(QEvent::MouseMove, at, Qt::NoButton, Qt::NoButton, Qt::NoModifier);
        QApplication::sendEvent(cube(), &move);
    }
    // The toolbar's button of module command `id`, pressed.
    void toolbar(UINT id) {
        for (QAction* a : window_->findChild<QToolBar*>()->actions())
            if (a->data().toUInt() == id) return a->trigger();
        FAIL() << "no toolbar button for " << id;
    }
    bool sameCameraAs(const zul::scene::Camera& b) {
        const zul::scene::Camera a = zul::scene::cameraOf(*host()->sceneViewer.Get());
        auto near = [](const float* x, const float* y) {
            for (int i = 0; i < 3; ++i)
                if (std::fabs(x[i] - y[i]) > 1e-4f * (1 + std::fabs(y[i]))) return false;
            return true;
        };
        return near(a.eye, b.eye) && near(a.target, b.target) && near(a.up, b.up) &&
               a.perspective == b.perspective;
    }
    std::array<double, 3> viewUp() {
        double u[3];
        camera()->GetViewUp(u);
        return {u[0], u[1], u[2]};
    }
};

// A face shows its side: the toolbar's view looking the opposite way (the
// Right face is "-X", Top is "-Z"); the front right top corner is the
// toolbar's +Iso; an edge and another corner look from their direction
// with Z up. The highlight is on the part under the mouse and goes with it.
TEST_F(ViewCubeE2E, FacesEdgesAndCornersShowTheSideTheyName) {
    window_->SetTransitionMs(0);
    ASSERT_NE(cube(), nullptr);
    ASSERT_EQ(cube()->SideName({1, 0, 0}), "Right");
    ASSERT_EQ(cube()->SideName({0, -1, 1}), "Front Top");
    const std::pair<Direction, UINT> faces[] = {{{1, 0, 0}, krav::ids::kAlignMinusX},
                                                {{0, -1, 0}, krav::ids::kAlignPlusY},
                                                {{0, 0, 1}, krav::ids::kAlignMinusZ}};
    for (const auto& [face, command] : faces) {
        toolbar(krav::ids::kAlignPlusIsometric);
        toolbar(command);
        const zul::scene::Camera byToolbar = zul::scene::cameraOf(*host()->sceneViewer.Get());
        toolbar(krav::ids::kAlignPlusIsometric);
        clickPart(face);
        EXPECT_TRUE(sameCameraAs(byToolbar)) << cube()->SideName(face).toStdString();
        const size_t axis = face[0] ? 0 : face[1] ? 1 : 2;
        EXPECT_LT(looking()[axis] * face[axis], -0.999)
            << cube()->SideName(face).toStdString() << " is seen from outside";
    }

    toolbar(krav::ids::kAlignPlusIsometric);
    const zul::scene::Camera iso = zul::scene::cameraOf(*host()->sceneViewer.Get());
    toolbar(krav::ids::kAlignMinusX);
    clickPart({1, -1, 1});
    EXPECT_TRUE(sameCameraAs(iso)) << "the front right top corner is +Iso";

    const double r2 = std::sqrt(0.5), r3 = std::sqrt(1.0 / 3);
    clickPart({1, -1, 0});
    EXPECT_TRUE(along(looking(), -r2, r2, 0)) << "from the front right edge";
    EXPECT_TRUE(along(viewUp(), 0, 0, 1));
    clickPart({1, -1, -1});
    EXPECT_TRUE(along(looking(), -r3, r3, r3)) << "from the front right bottom corner";
    EXPECT_GT(viewUp()[2], 0.8) << "Z stays up";
    EXPECT_FALSE(cube()->CenterOf({-1, 1, 1})) << "the corner opposite faces away";

    const QPointF right = *cube()->CenterOf({1, 0, 0});
    hover(right);
    ASSERT_TRUE(cube()->Hovered());
    EXPECT_EQ(*cube()->Hovered(), (Direction{1, 0, 0}));
    hover(*cube()->CenterOf({1, -1, -1}));
    EXPECT_EQ(*cube()->Hovered(), (Direction{1, -1, -1}));
    QEvent leave(QEvent::Leave);
    QApplication::sendEvent(cube(), &leave);
    EXPECT_FALSE(cube()->Hovered()) << "no highlight once the mouse has gone";
}

// The roll arrows turn the picture a quarter turn each way about the line
// of sight; with the up locked they are refused with the lock's message.
TEST_F(ViewCubeE2E, TheRollArrowsTurnThePictureUnlessTheUpIsLocked) {
    window_->SetTransitionMs(0);
    toolbar(krav::ids::kAlignPlusIsometric);
    const auto look = looking(), up = viewUp();
    QTest::mouseClick(cube(), Qt::LeftButton, {}, cube()->RollArrowCenter(+1).toPoint());
    EXPECT_TRUE(along(looking(), look[0], look[1], look[2])) << "the same line of sight";
    const auto right = s_cross(look, up),
               left = std::array<double, 3>{-right[0], -right[1], -right[2]};
    EXPECT_TRUE(along(viewUp(), left[0], left[1], left[2])) << "clockwise: the left is up now";
    QTest::mouseClick(cube(), Qt::LeftButton, {}, cube()->RollArrowCenter(-1).toPoint());
    EXPECT_TRUE(along(viewUp(), up[0], up[1], up[2])) << "and back";

    toolbar(krav::ids::kAlignPlusY);
    host()->sceneViewer->SetUpLocked(true);
    ASSERT_NE(host()->sceneViewer->LockedAxis(), 0);
    const zul::scene::Camera locked = zul::scene::cameraOf(*host()->sceneViewer.Get());
    messages_.clear();
    QTest::mouseClick(cube(), Qt::LeftButton, {}, cube()->RollArrowCenter(+1).toPoint());
    EXPECT_TRUE(sameCameraAs(locked)) << "refused";
    ASSERT_EQ(messages_.size(), 1u);
    EXPECT_NE(messages_[0].find("lock"), std::string::npos) << messages_[0];
    host()->sceneViewer->SetUpLocked(false);
}
