// The view cube in a corner of the 3D view: a bevelled cube turned as the
// camera is, whose six faces are labelled by the side of the model they
// show (Z up: Front is the -Y side, Back +Y, Right +X, Left -X, Top +Z,
// Bottom -Z), with twelve edges and eight corners between them: 26 parts
// to click, each the direction the eye is to look from. Two arrows above
// it turn the camera 90 degrees about its line of sight.
//
// The cube turns nothing itself: it tells the window what was clicked
// (`viewFrom`, `roll`), which runs it through the module so that the
// up-vector lock and stored views of the same name have their say.
#pragma once

#include <QPointF>
#include <QPolygonF>
#include <QString>
#include <QWidget>

#include <array>
#include <optional>
#include <vector>

namespace zul::viewer {

class ViewCube : public QWidget {
    Q_OBJECT
public:
    // Placed in the upper right corner of `view`, following its size.
    explicit ViewCube(QWidget* view);

    // The camera to follow: the direction the eye looks along and its up
    // (any lengths). Repaints when they changed.
    void SetCamera(const double look[3], const double up[3]);

    // The name of the side of the model whose outward direction is
    // `direction` (a face: one non-zero component), in the user's
    // language; edges and corners join their faces' names.
    static QString SideName(const std::array<int, 3>& direction);
    // What the cube's tooltip says for the part of `direction`.
    static QString PartTip(const std::array<int, 3>& direction);

    // Where the part of `direction` (components -1, 0, 1, not all 0) is
    // drawn, in this widget's coordinates: the centre of its outline;
    // nothing when it faces away from the eye.
    std::optional<QPointF> CenterOf(const std::array<int, 3>& direction) const;
    // The centres of the roll arrows: counterclockwise (-1), clockwise (+1).
    QPointF RollArrowCenter(int turn) const;
    // The part under the mouse; nothing when the mouse is elsewhere.
    std::optional<std::array<int, 3>> Hovered() const { return hovered_; }
    // The face of world `axis` (0 X, 1 Y, 2 Z) on `side` (+1, -1), clicked.
    void Click(int axis, int side);

Q_SIGNALS:
    // The eye is to look from `direction` (from the model's centre towards
    // the eye): a face, an edge or a corner.
    void viewFrom(const std::array<int, 3>& direction);
    // The picture is to turn 90 degrees: clockwise (+1) or counterclockwise (-1).
    void roll(int turn);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    bool event(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct Part {
        std::array<int, 3> direction;
        std::vector<std::array<double, 3>> corners; // on the bevelled cube
    };
    static const std::vector<Part>& s_parts();
    QPointF _project(const std::array<double, 3>& p) const;
    // The cosine between the part's outward direction and the way to the eye.
    double _facing(const std::array<int, 3>& direction) const;
    bool _facesEye(const std::array<int, 3>& direction) const;
    QPolygonF _outline(const Part& part) const;
    // The part or roll arrow (direction {9, turn, 0}) at `pos`.
    std::optional<std::array<int, 3>> _partAt(const QPointF& pos) const;
    void _place();
    void _drawLabel(class QPainter& painter, const Part& part) const;
    void _drawAxes(class QPainter& painter) const;
    void _drawRollArrow(class QPainter& painter, int turn) const;

    std::array<double, 3> right_{1, 0, 0}, up_{0, 0, 1}, toEye_{0, -1, 0};
    std::optional<std::array<int, 3>> hovered_, pressed_;
};

} // namespace zul::viewer
