// The pointer highlight without a screen: the frame-by-frame rules that turn
// pointer metadata into highlight boxes, and the painting of those boxes onto packed RGB pictures.

#include "FFmpegResources.h"
#include "HighlightPainter.h"
#include "MouseHighlight.h"

#include <QtTest>

extern "C" {
#include <libavutil/detection_bbox.h>
#include <libavutil/frame.h>
}

namespace {
// Highlight boxes as (x, y, size, outline).
using Boxes = QList<QRect>;

Boxes boxesOf(const AVFrame* frame)
{
    Boxes boxes;
    const AVFrameSideData* sd = av_frame_get_side_data(frame, AV_FRAME_DATA_DETECTION_BBOXES);
    const auto* header = sd ? reinterpret_cast<const AVDetectionBBoxHeader*>(sd->data) : nullptr;
    for (uint32_t i = 0; header && i < header->nb_bboxes; ++i) {
        const AVDetectionBBox* b = av_get_detection_bbox(header, i);
        boxes << QRect(b->x, b->y, b->w, b->h);
    }
    return boxes;
}

// Runs one frame of 320x240 with the given pointer through the rules.
// x == INT_MIN leaves the frame without pointer metadata.
Boxes step(MouseHighlight& highlight, int x, int y, int state)
{
    FramePtr frame(av_frame_alloc());
    frame->width = 320;
    frame->height = 240;
    if (x != INT_MIN)
        MouseHighlight::setPointerMetadata(frame.get(), x, y, state);
    highlight.apply(frame.get());
    return boxesOf(frame.get());
}

const Boxes kNone;

// One frame's pointer and the boxes it must give.
struct Step
{
    int x, y, state;
    Boxes boxes;
};
using Steps = QList<Step>;
const auto plain = [](int x, int y) { return Boxes{QRect(x, y, 24, 0)}; };
const auto pressed = [](int x, int y) { return Boxes{QRect(x, y, 28, 0), QRect(x, y, 34, 2)}; };
const auto ring = [](int x, int y, int w) { return Boxes{QRect(x, y, w, 2)}; };

// A black picture of 100x100 in the given format.
FramePtr blackFrame(AVPixelFormat format)
{
    FramePtr frame(av_frame_alloc());
    frame->format = format;
    frame->width = 100;
    frame->height = 100;
    if (av_frame_get_buffer(frame.get(), 0) < 0)
        return nullptr;
    memset(frame->data[0], 0, size_t(frame->linesize[0]) * 100);
    return frame;
}

void addBox(AVFrame* frame, int x, int y, int w, int h)
{
    AVDetectionBBoxHeader* header = av_detection_bbox_create_side_data(frame, 1);
    AVDetectionBBox* box = av_get_detection_bbox(header, 0);
    box->x = x;
    box->y = y;
    box->w = w;
    box->h = h;
}

// Red, green and blue of a bgr0 pixel.
QColor bgr0At(const AVFrame* frame, int x, int y)
{
    const uint8_t* p = frame->data[0] + y * frame->linesize[0] + x * 4;
    return QColor(p[2], p[1], p[0]);
}
} // namespace

Q_DECLARE_METATYPE(Steps)

class TestMouseHighlight : public QObject
{
    Q_OBJECT

private slots:
    void pointerRules_data()
    {
        QTest::addColumn<Steps>("steps");
        const Steps rest(MouseHighlight::kIdleFrames, {100, 50, 0, plain(100, 50)});
        QTest::newRow("resting pointer fades, moving brings it back") << rest
                                                                             + Steps{{100, 50, 0, kNone},
                                                                                     {100, 50, 0, kNone},
                                                                                     {101, 50, 0, plain(101, 50)},
                                                                                     {101, 60, 0, plain(101, 60)}};
        // The right button counts as much as the left; released while moving on, the ring stays where the click was.
        Steps click = rest + Steps{{100, 50, 0, kNone}, {100, 50, 2, pressed(100, 50)}, {100, 50, 1, pressed(100, 50)}};
        for (int w = 32; w <= 42; w += 2)
            click << Step{110, 55, 0, ring(100, 50, w)};
        QTest::newRow("click shows pressed state then growing ring") << click + Steps{{110, 55, 0, plain(110, 55)}};
        // Back inside on the last row and column; a press outside leaves no ring behind.
        QTest::newRow("pointer outside the picture")
            << Steps{{-5, 20, 0, kNone},  {20, -1, 1, kNone},          {320, 20, 0, kNone},
                     {20, 240, 0, kNone}, {INT_MIN, 0, 0, kNone},      {319, 239, 0, plain(319, 239)},
                     {400, 20, 1, kNone}, {300, 20, 0, plain(300, 20)}};
        QTest::newRow("hot spot bit shifts the circle")
            << Steps{{100, 50, 4, plain(110, 60)}, {100, 50, 4 | 1, pressed(110, 60)}, {100, 50, 4, ring(110, 60, 32)}};
    }

    void pointerRules()
    {
        QFETCH(Steps, steps);
        MouseHighlight highlight;
        highlight.reset();
        for (int i = 0; i < steps.size(); ++i)
            QVERIFY2(step(highlight, steps[i].x, steps[i].y, steps[i].state) == steps[i].boxes,
                     qPrintable(QString("step %1").arg(i)));
    }

    void paintsHalfYellowDiscAndHollowRing()
    {
        HighlightPainter painter;
        FramePtr disc = blackFrame(AV_PIX_FMT_BGR0);
        QVERIFY(disc);
        addBox(disc.get(), 50, 50, 24, 0);
        QVERIFY(painter.paint(disc.get()));
        QCOMPARE(bgr0At(disc.get(), 50, 50), QColor(128, 128, 0));
        QCOMPARE(bgr0At(disc.get(), 50 + 23, 50), QColor(128, 128, 0));
        QCOMPARE(bgr0At(disc.get(), 50, 50 - 23), QColor(128, 128, 0));
        QCOMPARE(bgr0At(disc.get(), 50 + 26, 50), QColor(0, 0, 0));
        QCOMPARE(bgr0At(disc.get(), 50 + 18, 50 + 18), QColor(0, 0, 0)); // beyond the radius on the diagonal
        QVERIFY(!painter.paint(disc.get()));                             // nothing left to paint

        // An outline of 2 at radius 34: hollow inside, and cut at the picture's edge.
        FramePtr ring = blackFrame(AV_PIX_FMT_BGR0);
        addBox(ring.get(), 80, 50, 34, 2);
        QVERIFY(painter.paint(ring.get()));
        QCOMPARE(bgr0At(ring.get(), 80, 50), QColor(0, 0, 0));
        QCOMPARE(bgr0At(ring.get(), 80 - 28, 50), QColor(0, 0, 0));
        QCOMPARE(bgr0At(ring.get(), 80 - 33, 50), QColor(128, 128, 0));
        QCOMPARE(bgr0At(ring.get(), 80, 50 + 33), QColor(128, 128, 0));
        QCOMPARE(bgr0At(ring.get(), 80 - 37, 50), QColor(0, 0, 0));

        // Byte order follows the format: red first in rgba, alpha untouched.
        FramePtr rgba = blackFrame(AV_PIX_FMT_RGBA);
        addBox(rgba.get(), 10, 10, 5, 0);
        QVERIFY(painter.paint(rgba.get()));
        const uint8_t* p = rgba->data[0] + 10 * rgba->linesize[0] + 10 * 4;
        QCOMPARE(QList<int>({p[0], p[1], p[2], p[3]}), QList<int>({128, 128, 0, 0}));

        // A frame whose buffer is shared is painted on its own copy only.
        FramePtr original = blackFrame(AV_PIX_FMT_BGRA);
        FramePtr shared(av_frame_clone(original.get()));
        addBox(shared.get(), 50, 50, 24, 0);
        QVERIFY(painter.paint(shared.get()));
        QCOMPARE(shared->data[0][50 * shared->linesize[0] + 50 * 4 + 1], uint8_t(128));
        QCOMPARE(original->data[0][50 * original->linesize[0] + 50 * 4 + 1], uint8_t(0));
    }

    void leavesOtherFormatsAlone()
    {
        QVERIFY(HighlightPainter::canPaint(AV_PIX_FMT_BGR0));
        QVERIFY(HighlightPainter::canPaint(AV_PIX_FMT_RGB24));
        QVERIFY(!HighlightPainter::canPaint(AV_PIX_FMT_YUV420P));
        QVERIFY(!HighlightPainter::canPaint(AV_PIX_FMT_RGB565LE));
        HighlightPainter painter;
        FramePtr frame = blackFrame(AV_PIX_FMT_YUV420P);
        addBox(frame.get(), 50, 50, 24, 0);
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression("mouse highlight cannot be painted on pixel format.*yuv420p"));
        QVERIFY(!painter.paint(frame.get()));
        QCOMPARE(frame->data[0][50 * frame->linesize[0] + 50], uint8_t(0));
        QVERIFY(!av_frame_get_side_data(frame.get(), AV_FRAME_DATA_DETECTION_BBOXES));
    }
};

QTEST_APPLESS_MAIN(TestMouseHighlight)
#include "test_mouse_highlight.moc"
