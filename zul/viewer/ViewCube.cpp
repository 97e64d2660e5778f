#include "ViewCube.h"

#include <QEvent>
#include <QHelpEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QToolTip>

#include <algorithm>
#include <cmath>

namespace zul::viewer {

namespace {

constexpr int kSize = 150;           // the widget, square, in pixels
constexpr int kMargin = 6;           // from the view's upper right corner
constexpr double kBevel = 0.3;       // of the cube's half-width 1
constexpr double kFace = 1 - kBevel; // a face's half-width
constexpr double kArrowRadius = 11;  // the roll arrows'
constexpr int kRollPart = 9;         // a roll arrow's direction: {9, turn, 0}

using Vec = std::array<double, 3>;

double s_dot(const Vec& a, const Vec& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

Vec s_cross(const Vec& a, const Vec& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

bool s_unit(Vec& v) {
    const double l = std::sqrt(s_dot(v, v));
    if (!(l > 0) || !std::isfinite(l)) return false;
    for (double& c : v)
        c /= l;
    return true;
}

int s_nonZero(const std::array<int, 3>& d) {
    return (d[0] != 0) + (d[1] != 0) + (d[2] != 0);
}

// A face's writing directions as the side is seen from outside, Z up:
// the sides read upright, the top with the back above, the bottom with
// the front above.
void s_faceFrame(int axis, int side, Vec& right, Vec& up) {
    Vec n{0, 0, 0};
    n[size_t(axis)] = side;
    if (axis == 2) {
        right = {1, 0, 0};
        up = {0, double(side), 0};
    } else {
        up = {0, 0, 1};
        right = s_cross(up, n);
    }
}

} // namespace

ViewCube::ViewCube(QWidget* view) : QWidget(view) {
    setObjectName("viewCube");
    setMouseTracking(true);
    setAttribute(Qt::WA_NoSystemBackground);
    setFixedSize(kSize, kSize);
    view->installEventFilter(this);
    _place();
}

const std::vector<ViewCube::Part>& ViewCube::s_parts() {
    // The bevelled cube: faces are squares of half-width kFace at distance
    // 1, edges the rectangles between two faces, corners the triangles
    // between three. It is convex, so the parts that face the eye never
    // cover each other.
    static const std::vector<Part> parts = [] {
        std::vector<Part> all;
        for (int x = -1; x <= 1; ++x)
            for (int y = -1; y <= 1; ++y)
                for (int z = -1; z <= 1; ++z) {
                    const std::array<int, 3> d{x, y, z};
                    const int n = s_nonZero(d);
                    if (n == 0) continue;
                    Part part{d, {}};
                    if (n == 1) {
                        const int axis = x != 0 ? 0 : y != 0 ? 1 : 2;
                        Vec right, up;
                        s_faceFrame(axis, d[size_t(axis)], right, up);
                        const double su[4] = {-1, 1, 1, -1}, sv[4] = {-1, -1, 1, 1};
                        for (int k = 0; k < 4; ++k) {
                            Vec p{double(x), double(y), double(z)};
                            for (int i = 0; i < 3; ++i)
                                p[size_t(i)] +=
                                    kFace * (su[k] * right[size_t(i)] + sv[k] * up[size_t(i)]);
                            part.corners.push_back(p);
                        }
                    } else if (n == 2) {
                        // Along the axis the edge runs on, from -kFace to kFace;
                        // across, from one face's border to the other's.
                        const int along = x == 0 ? 0 : y == 0 ? 1 : 2;
                        const int a = (along + 1) % 3, b = (along + 2) % 3;
                        const double ends[2] = {-kFace, kFace};
                        const double sa = d[size_t(a)], sb = d[size_t(b)];
                        const double across[4][2] = {
                            {sa, sb * kFace}, {sa * kFace, sb}, {sa * kFace, sb}, {sa, sb * kFace}};
                        for (int k = 0; k < 4; ++k) {
                            Vec p{0, 0, 0};
                            p[size_t(along)] = ends[k == 0 || k == 1 ? 0 : 1];
                            p[size_t(a)] = across[k][0];
                            p[size_t(b)] = across[k][1];
                            part.corners.push_back(p);
                        }
                    } else {
                        for (int i = 0; i < 3; ++i) {
                            Vec p{x * kFace, y * kFace, z * kFace};
                            p[size_t(i)] = d[size_t(i)];
                            part.corners.push_back(p);
                        }
                    }
                    all.push_back(std::move(part));
                }
        return all;
    }();
    return parts;
}

QString ViewCube::SideName(const std::array<int, 3>& d) {
    // Faces in the order a name is said: front or back, then right or
    // left, then top or bottom ("Front Right Top").
    QStringList names;
    if (d[1] < 0) names << tr("Front");
    if (d[1] > 0) names << tr("Back");
    if (d[0] > 0) names << tr("Right");
    if (d[0] < 0) names << tr("Left");
    if (d[2] > 0) names << tr("Top");
    if (d[2] < 0) names << tr("Bottom");
    return names.join(' ');
}

QString ViewCube::PartTip(const std::array<int, 3>& d) {
    // The direction the eye then looks along, as the toolbar names them.
    QStringList along;
    const char* axes = "XYZ";
    for (int i = 0; i < 3; ++i)
        if (d[size_t(i)] != 0)
            along << QStringLiteral("%1%2").arg(d[size_t(i)] > 0 ? "-" : "+").arg(axes[i]);
    const QString direction = along.join(' ');
    switch (s_nonZero(d)) {
    case 1:
        return tr("%1 side: look along %2").arg(SideName(d), direction);
    case 2:
        return tr("%1 edge: look along %2").arg(SideName(d), direction);
    default:
        return tr("%1 corner: look along %2").arg(SideName(d), direction);
    }
}

void ViewCube::SetCamera(const double look[3], const double up[3]) {
    Vec toEye{-look[0], -look[1], -look[2]}, u{up[0], up[1], up[2]};
    if (!s_unit(toEye)) return;
    Vec right = s_cross(u, toEye);
    if (!s_unit(right)) return;
    u = s_cross(toEye, right);
    if (toEye == toEye_ && u == up_ && right == right_) return;
    toEye_ = toEye;
    up_ = u;
    right_ = right;
    update();
}

QPointF ViewCube::_project(const Vec& p) const {
    const double scale = (kSize / 2.0 - 8) / 1.7;
    const QPointF centre(width() / 2.0, height() / 2.0 + 4);
    return centre + QPointF(s_dot(p, right_) * scale, -s_dot(p, up_) * scale);
}

double ViewCube::_facing(const std::array<int, 3>& d) const {
    Vec n{double(d[0]), double(d[1]), double(d[2])};
    s_unit(n);
    return s_dot(n, toEye_);
}

bool ViewCube::_facesEye(const std::array<int, 3>& d) const {
    return _facing(d) > 1e-9;
}

QPolygonF ViewCube::_outline(const Part& part) const {
    QPolygonF outline;
    for (const Vec& p : part.corners)
        outline << _project(p);
    return outline;
}

std::optional<QPointF> ViewCube::CenterOf(const std::array<int, 3>& d) const {
    for (const Part& part : s_parts())
        if (part.direction == d) {
            if (!_facesEye(d)) return std::nullopt;
            QPointF sum;
            for (const Vec& p : part.corners)
                sum += _project(p);
            return sum / double(part.corners.size());
        }
    return std::nullopt;
}

QPointF ViewCube::RollArrowCenter(int turn) const {
    const double x = turn < 0 ? kArrowRadius + 3 : width() - kArrowRadius - 3;
    return {x, kArrowRadius + 3};
}

std::optional<std::array<int, 3>> ViewCube::_partAt(const QPointF& pos) const {
    for (int turn : {-1, 1}) {
        const QPointF off = pos - RollArrowCenter(turn);
        if (QPointF::dotProduct(off, off) <= (kArrowRadius + 3) * (kArrowRadius + 3))
            return std::array<int, 3>{kRollPart, turn, 0};
    }
    for (const Part& part : s_parts())
        if (_facesEye(part.direction) && _outline(part).containsPoint(pos, Qt::OddEvenFill))
            return part.direction;
    return std::nullopt;
}

void ViewCube::Click(int axis, int side) {
    std::array<int, 3> d{0, 0, 0};
    d[size_t(axis)] = side > 0 ? 1 : -1;
    Q_EMIT viewFrom(d);
}

void ViewCube::_place() {
    if (auto* view = parentWidget()) move(view->width() - width() - kMargin, kMargin);
}

bool ViewCube::eventFilter(QObject* watched, QEvent* event) {
    if (watched == parentWidget() && event->type() == QEvent::Resize) _place();
    return QWidget::eventFilter(watched, event);
}

void ViewCube::_drawAxes(QPainter& painter) const {
    // The world axes in the lower left corner, turned as the cube is; the
    // ones pointing away from the eye first.
    const QPointF origin(16, height() - 16);
    const QColor colours[3] = {QColor(210, 50, 40), QColor(40, 160, 60), QColor(40, 90, 220)};
    const char* names[3] = {"X", "Y", "Z"};
    QFont font = painter.font();
    font.setPixelSize(11);
    font.setBold(true);
    painter.setFont(font);
    int order[3] = {0, 1, 2};
    std::sort(order, order + 3,
              [this](int a, int b) { return toEye_[size_t(a)] < toEye_[size_t(b)]; });
    for (int i : order) {
        const QPointF along(right_[size_t(i)], -up_[size_t(i)]);
        painter.setPen(QPen(colours[i], 2));
        painter.drawLine(origin, origin + along * 18);
        const QPointF at = origin + along * 25;
        painter.drawText(QRectF(at.x() - 7, at.y() - 7, 14, 14), Qt::AlignCenter, names[i]);
    }
}

void ViewCube::_drawLabel(QPainter& painter, const Part& part) const {
    const auto& d = part.direction;
    const int axis = d[0] != 0 ? 0 : d[1] != 0 ? 1 : 2;
    Vec right, up;
    s_faceFrame(axis, d[size_t(axis)], right, up);
    // The writing box, 100 units square, laid on the face: an affine map,
    // since the cube is drawn without perspective.
    const Vec centre{double(d[0]), double(d[1]), double(d[2])};
    Vec r = centre, u = centre;
    for (int i = 0; i < 3; ++i) {
        r[size_t(i)] += kFace * right[size_t(i)];
        u[size_t(i)] += kFace * up[size_t(i)];
    }
    const QPointF c = _project(centre), pr = _project(r) - c, pu = _project(u) - c;
    painter.save();
    painter.setTransform(
        QTransform(pr.x() / 50, pr.y() / 50, -pu.x() / 50, -pu.y() / 50, c.x(), c.y()));
    const QString text = SideName(d);
    QFont font = painter.font();
    font.setBold(true);
    font.setPixelSize(30);
    const double width = QFontMetricsF(font).horizontalAdvance(text);
    if (width > 92) font.setPixelSize(std::max(8, int(30 * 92 / width)));
    painter.setFont(font);
    painter.setPen(QColor(30, 35, 45));
    painter.drawText(QRectF(-50, -50, 100, 100), Qt::AlignCenter, text);
    painter.restore();
}

void ViewCube::_drawRollArrow(QPainter& painter, int turn) const {
    const QPointF c = RollArrowCenter(turn);
    const bool hot = hovered_ && (*hovered_)[0] == kRollPart && (*hovered_)[1] == turn;
    painter.setPen(Qt::NoPen);
    painter.setBrush(hot ? QColor(111, 168, 220, 230) : QColor(225, 228, 234, 200));
    painter.drawEllipse(c, kArrowRadius, kArrowRadius);
    // Three quarters of a circle and its head, turning as the picture will.
    const double r = kArrowRadius - 4;
    QPainterPath arc;
    const double start = turn > 0 ? 135 : 45, span = turn > 0 ? -270 : 270;
    arc.arcMoveTo(QRectF(c.x() - r, c.y() - r, 2 * r, 2 * r), start);
    arc.arcTo(QRectF(c.x() - r, c.y() - r, 2 * r, 2 * r), start, span);
    painter.setPen(QPen(QColor(40, 45, 55), 1.8));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(arc);
    const double end = (start + span) * M_PI / 180;
    const QPointF tip(c.x() + r * std::cos(end), c.y() - r * std::sin(end));
    // The head points along the arc's direction at its end.
    const double sign = turn > 0 ? -1 : 1;
    const QPointF along(-std::sin(end) * sign, -std::cos(end) * sign);
    const QPointF across(-along.y(), along.x());
    QPolygonF head;
    head << tip + along * 4 << tip - along * 1.5 + across * 3.5 << tip - along * 1.5 - across * 3.5;
    painter.setBrush(QColor(40, 45, 55));
    painter.setPen(Qt::NoPen);
    painter.drawPolygon(head);
}

void ViewCube::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    for (const Part& part : s_parts()) {
        if (!_facesEye(part.direction)) continue;
        const bool face = s_nonZero(part.direction) == 1;
        QColor fill = face ? QColor(216, 222, 232) : QColor(190, 198, 212);
        if (hovered_ == part.direction) fill = QColor(111, 168, 220);
        painter.setBrush(fill);
        painter.setPen(QPen(QColor(90, 98, 112), 1));
        painter.drawPolygon(_outline(part));
        // A face seen nearly edge-on is too thin to write on.
        if (face && _facing(part.direction) > 0.3) _drawLabel(painter, part);
    }
    _drawAxes(painter);
    _drawRollArrow(painter, -1);
    _drawRollArrow(painter, +1);
}

void ViewCube::mouseMoveEvent(QMouseEvent* event) {
    const auto part = _partAt(event->localPos());
    if (part != hovered_) {
        hovered_ = part;
        update();
    }
}

void ViewCube::leaveEvent(QEvent*) {
    if (!hovered_) return;
    hovered_.reset();
    update();
}

void ViewCube::mousePressEvent(QMouseEvent* event) {
    pressed_ = event->button() == Qt::LeftButton ? _partAt(event->localPos()) : std::nullopt;
}

void ViewCube::mouseReleaseEvent(QMouseEvent* event) {
    // A click is a press and a release on the same part.
    const auto part = _partAt(event->localPos());
    const auto pressed = pressed_;
    pressed_.reset();
    if (event->button() != Qt::LeftButton || !part || part != pressed) return;
    if ((*part)[0] == kRollPart)
        Q_EMIT roll((*part)[1]);
    else
        Q_EMIT viewFrom(*part);
}

bool ViewCube::event(QEvent* event) {
    if (event->type() == QEvent::ToolTip) {
        auto* help = static_cast<QHelpEvent*>(event);
        const auto part = _partAt(help->pos());
        QString tip;
        if (part && (*part)[0] == kRollPart)
            tip = (*part)[1] > 0 ? tr("Turn the picture 90° clockwise")
                                 : tr("Turn the picture 90° counterclockwise");
        else if (part)
            tip = PartTip(*part);
        if (tip.isEmpty())
            QToolTip::hideText();
        else
            QToolTip::showText(help->globalPos(), tip, this);
        return true;
    }
    return QWidget::event(event);
}

} // namespace zul::viewer
