#ifndef VELLSELECTIONPATH_H
#define VELLSELECTIONPATH_H

#include "foundation/vellcodes.h"

#include <QObject>
#include <QPointF>
#include <QElapsedTimer>
#include <QVector>
#include <QVectorIterator>

#include <vector>

// The outline a selection tool builds while the user drags or clicks: a
// rectangle, an ellipse or a free polygon, as points in image pixels (x the
// column, y the row). It draws itself with OpenGL, as a plain line strip or,
// once resampled, as a crawling black-and-white dashed line. When the user
// finishes it, the tool hands it to the selection, which rasterises it into
// the coverage.
//
// What the points mean by type (VellPathType): Rectangle, points 0 and 2 are
// opposite corners (drawn and filled through all points in order); Ellipse,
// points 0 and 1 are opposite corners of its bounding box; Polygon, all
// points in order.
//
// The creator owns a path (it is made without a Qt parent, whatever the
// constructor is given); the selection keeps a pointer in its path list but
// never deletes it. Owns its resampled vertices and colours. GUI thread; the
// drawing calls need the canvas's GL context current.
class VellSelectionPath : public QObject
{
    Q_OBJECT

public:
    static constexpr qint64 kMaximumSamples = qint64(1) << 24;

    explicit VellSelectionPath(QObject *parent = nullptr);
    // Copies the source's points (none for a null source); everything else
    // starts afresh: open, a polygon, not resampled.
    VellSelectionPath(VellSelectionPath *source, QObject *parent = nullptr);
    ~VellSelectionPath() override;
    Q_DISABLE_COPY(VellSelectionPath)

    void addPoint(float x, float y) { points.append(QPointF(x, y)); }
    void addPoint(const QPointF &point) { points.append(point); }
    QPointF getPoint(int index) const;              // (0, 0) outside the list
    void setPoint(int index, const QPointF &point); // ignored outside the list
    int getPointNumber() const { return points.size(); }
    QVector<QPointF> *getData() { return &points; }
    QVectorIterator<QPointF> getIterator() const { return QVectorIterator<QPointF>(points); }
    // Removes the most recently added point; nothing on an empty path.
    void deleteFront();

    // A path of fewer than 3 points is always left open.
    void setClosed(bool close);
    bool isClosed() const { return closed; }
    void setType(int pathType) { type = pathType; }
    int getType() const { return type; }

    // Resampling for the animated outline: every `step` pixels (at least
    // 0.1) along each edge, the last point joined back to the first, so the
    // sampled outline is always closed; then the colours for a period of 3.
    // Nothing for fewer than 2 points, or when the outline would need more
    // than kMaximumSamples vertices (absurd coordinates). Resampling again
    // replaces both lists.
    void doPathSampling(float step);
    bool isSampled() const { return !sampled.empty(); }
    int getSampledCount() const { return sampledCount; }
    const float *getSampledVertices() const { return sampled.empty() ? nullptr : sampled.data(); }
    // RGBA per sampled vertex plus 20: white where the index is a multiple
    // of the period (limited to 1 .. 9), black elsewhere; the spare entries
    // let drawing start at any phase below the period.
    void initColorList(int period);
    const float *getColorList() const { return colors.empty() ? nullptr : colors.data(); }
    int getColorPeriod() const { return colorPeriod; }
    int getColorPhase() const { return colorPhase; }

    // Resampled: the dashed outline (drawSampledPath) and nothing else.
    // Otherwise a line strip through the points in the current colour,
    // closed back to the first when closed, and with `showPoints` every
    // point as a 5-pixel GL point.
    void draw(bool showPoints);
    // Advances the dash phase when 101 ms or more have passed since the last
    // step, then draws the sampled outline as a line strip coloured from
    // the current phase. The current colour is kept.
    void drawSampledPath();

    // Test seam: milliseconds since the phase last moved (the path's own
    // timer unless replaced). Returns the previous hook.
    using Clock = int (*)(const QElapsedTimer &timer);
    static Clock setClock(Clock clock);

private:
    QVector<QPointF> points;
    bool closed = false;
    std::vector<float> sampled;   // x, y pairs
    std::vector<float> colors;    // RGBA quadruples
    int sampledCount = 0;
    int colorPhase = 0;
    int colorPeriod = 5;
    int type = VellPathType::Polygon;
    QElapsedTimer timer;   // paces the dash animation
};

#endif // VELLSELECTIONPATH_H
