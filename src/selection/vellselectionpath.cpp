#include "selection/vellselectionpath.h"

#include <qopengl.h>

#include <algorithm>
#include <cmath>

namespace {

const float kMinimumStep = 0.1f;
const int kSpareColors = 20;
const int kMaximumPeriod = 9;
const int kPhaseMilliseconds = 101;

int elapsedOf(const QElapsedTimer &timer)
{
    return int(qMin<qint64>(timer.elapsed(), 1 << 30));
}

VellSelectionPath::Clock &phaseClock()
{
    static VellSelectionPath::Clock current = elapsedOf;
    return current;
}

} // namespace

VellSelectionPath::VellSelectionPath(QObject *) : QObject(nullptr)
{
    timer.start();
}

VellSelectionPath::VellSelectionPath(VellSelectionPath *source, QObject *) : QObject(nullptr)
{
    if (source)
        points = source->points;
    timer.start();
}

VellSelectionPath::~VellSelectionPath() = default;

VellSelectionPath::Clock VellSelectionPath::setClock(Clock replacement)
{
    const Clock previous = phaseClock();
    phaseClock() = replacement ? replacement : elapsedOf;
    return previous;
}

QPointF VellSelectionPath::getPoint(int index) const
{
    return index >= 0 && index < points.size() ? points.at(index) : QPointF(0.0, 0.0);
}

void VellSelectionPath::setPoint(int index, const QPointF &point)
{
    if (index >= 0 && index < points.size())
        points[index] = point;
}

void VellSelectionPath::deleteFront()
{
    if (!points.isEmpty())
        points.removeLast();
}

void VellSelectionPath::setClosed(bool close)
{
    closed = close && points.size() >= 3;
}

void VellSelectionPath::doPathSampling(float step)
{
    if (points.size() < 2)
        return;
    if (!(step > kMinimumStep))
        step = kMinimumStep;
    // The count first: coordinates far apart must not make us allocate
    // (or loop) without end.
    double needed = 1.0;
    for (int i = 0; i < points.size(); ++i) {
        const QPointF d = points.at((i + 1) % points.size()) - points.at(i);
        needed += 1.0 + std::ceil(std::sqrt(d.x() * d.x() + d.y() * d.y()) / step);
    }
    if (!(needed <= double(kMaximumSamples)))
        return;
    std::vector<float> out;
    out.reserve(size_t(needed) * 2);
    auto append = [&out](const QPointF &p) {
        out.push_back(float(p.x()));
        out.push_back(float(p.y()));
    };
    const double step2 = double(step) * double(step);
    for (int i = 0; i < points.size(); ++i) {
        const QPointF p = points.at(i);
        const QPointF q = points.at((i + 1) % points.size());
        append(p);
        QPointF c = p;
        for (;;) {
            const QPointF d = q - c;
            const double length2 = d.x() * d.x() + d.y() * d.y();
            if (!(length2 > step2))   // also stops on NaN coordinates
                break;
            c += d / std::sqrt(length2) * double(step);
            append(c);
        }
    }
    append(points.first());
    sampled.swap(out);
    sampledCount = int(sampled.size() / 2);
    initColorList(3);
}

void VellSelectionPath::initColorList(int period)
{
    colorPeriod = std::clamp(period, 1, kMaximumPeriod);
    colorPhase %= colorPeriod;
    const int count = sampledCount + kSpareColors;
    colors.assign(size_t(count) * 4, 0.0f);
    for (int i = 0; i < count; ++i) {
        const float shade = i % colorPeriod == 0 ? 1.0f : 0.0f;
        float *rgba = &colors[size_t(i) * 4];
        rgba[0] = rgba[1] = rgba[2] = shade;
        rgba[3] = 1.0f;
    }
}

void VellSelectionPath::draw(bool showPoints)
{
    if (isSampled()) {
        drawSampledPath();
        return;
    }
    glBegin(GL_LINE_STRIP);
    for (const QPointF &p : qAsConst(points))
        glVertex2d(p.x(), p.y());
    if (closed && !points.isEmpty())
        glVertex2d(points.first().x(), points.first().y());
    glEnd();
    if (!showPoints)
        return;
    glPointSize(5.0f);
    glBegin(GL_POINTS);
    for (const QPointF &p : qAsConst(points))
        glVertex2d(p.x(), p.y());
    glEnd();
    glPointSize(1.0f);
}

void VellSelectionPath::drawSampledPath()
{
    if (!isSampled())
        return;
    if (phaseClock()(timer) >= kPhaseMilliseconds) {
        colorPhase = (colorPhase + 1) % colorPeriod;
        timer.restart();
    }
    glPushAttrib(GL_CURRENT_BIT);
    glPushClientAttrib(GL_CLIENT_VERTEX_ARRAY_BIT);
    glEnableClientState(GL_VERTEX_ARRAY);
    glEnableClientState(GL_COLOR_ARRAY);
    glVertexPointer(2, GL_FLOAT, 0, sampled.data());
    glColorPointer(4, GL_FLOAT, 0, colors.data() + size_t(colorPhase) * 4);
    glDrawArrays(GL_LINE_STRIP, 0, sampledCount);
    glDisableClientState(GL_COLOR_ARRAY);
    glDisableClientState(GL_VERTEX_ARRAY);
    glPopClientAttrib();
    glPopAttrib();
}
