#include "document/velllayerbase.h"
#include "foundation/vellcodes.h"

#include <QtTest>

#include <limits>
#include <optional>

static const double kNaN = std::numeric_limits<double>::quiet_NaN();
static const double kOdd = 4503599627370497.0;   // 2^52 + 1: x + 0.5 is not representable

Q_DECLARE_METATYPE(std::optional<int>)

class TestVellLayerBase : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { VellLayerBase::setStackIndexProbe(nullptr); }

    // Listed codes run 0, 10, ... 240, each name leading back to its code. An unlisted code
    // names nothing and is stored as Normal, since the shader knows no other.
    void blendModes()
    {
        QCOMPARE(VellLayerBase::getBlendModeList().size(), VellBlend::Count);
        VellLayerBase layer("layer");
        for (int code = VellBlend::Normal - VellBlend::Step; code <= VellBlend::Luminosity + VellBlend::Step;
             code += VellBlend::Step / 2) {
            const int listed = code >= VellBlend::Normal && code <= VellBlend::Luminosity
                                   && code % VellBlend::Step == 0 ? code : -1;
            const QString name = VellLayerBase::getBlendModeList().value(code);
            const QByteArray at = QByteArray::number(code);
            layer.setBlendMode(code);
            QVERIFY2(VellLayerBase::getBlendModeName(code) == name, at.constData());
            QVERIFY2(name.isEmpty() == (listed < 0), at.constData());
            QVERIFY2(layer.getBlendMode() == (listed < 0 ? VellBlend::Normal : listed), at.constData());
            QCOMPARE(VellLayerBase::getBlendModeCode(name), listed);
            QCOMPARE(VellLayerBase::blendModeFromUserName(name), listed);
        }
        // Typed names match ignoring case, blanks, "-" and "_"; the exact lookup stays exact.
        const struct { const char *typed; int code; } cases[] = {{"color-burn", VellBlend::ColorBurn},
            {"COLOR_BURN", VellBlend::ColorBurn}, {"  hard -_mix ", VellBlend::HardMix}, {"color", VellBlend::Color},
            {"colorburn", -1}, {" -_ ", -1}};
        for (const auto &c : cases) {
            QVERIFY2(VellLayerBase::blendModeFromUserName(c.typed) == c.code, c.typed);
            QVERIFY2(VellLayerBase::getBlendModeCode(c.typed) == -1, c.typed);
        }
    }

    // Positions round halves up, opacity is clamped to [0, 1]; NaN keeps the old (7, 8), 0.25.
    void storedValues_data()
    {
        QTest::addColumn<QPointF>("position");
        QTest::addColumn<float>("opacity");
        QTest::addColumn<QPointF>("storedPosition");
        QTest::addColumn<float>("storedOpacity");
        QTest::newRow("halves, over one") << QPointF(10.5, -3.5) << 1.5f << QPointF(11, -3) << 1.0f;
        QTest::newRow("minus halves") << QPointF(-0.5, -1.5) << -0.2f << QPointF(0, -1) << 0.0f;
        QTest::newRow("below 0.5") << QPointF(0.49999999999999994, 0) << 0.3f << QPointF() << 0.3f;
        QTest::newRow("odd beyond 2^52") << QPointF(kOdd, -kOdd) << 1.0f << QPointF(kOdd, -kOdd) << 1.0f;
        QTest::newRow("NaN") << QPointF(kNaN, 5) << float(kNaN) << QPointF(7, 8) << 0.25f;
    }
    void storedValues()
    {
        QFETCH(QPointF, position);
        QFETCH(float, opacity);
        QFETCH(QPointF, storedPosition);
        VellLayerBase layer("layer");
        layer.setPosition(QPointF(7, 8));
        layer.setAlpha(0.25f);
        layer.setPosition(position);
        layer.setAlpha(opacity);
        const QPointF got = layer.getPosition();   // exact: QPointF's == is fuzzy
        const QByteArray gotText = QString("got %1, %2").arg(got.x(), 0, 'f', 1).arg(got.y(), 0, 'f', 1).toLatin1();
        QVERIFY2(got.x() == storedPosition.x(), gotText.constData());
        QVERIFY2(got.y() == storedPosition.y(), gotText.constData());
        QTEST(layer.getAlpha(), "storedOpacity");
    }

    // A layer asks the probe for its own place: none without a probe or document.
    void shaderRule_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<bool>("mask");
        QTest::addColumn<std::optional<int>>("index");   // none: no current document
        QTest::addColumn<bool>("shader");
        const int normal = VellBlend::Normal, multiply = VellBlend::Multiply;
        QTest::newRow("no document") << multiply << false << std::optional<int>() << false;
        QTest::newRow("no document, mask") << normal << true << std::optional<int>() << true;
        QTest::newRow("Normal above bottom") << normal << false << std::optional<int>(2) << false;
        QTest::newRow("Multiply at bottom") << multiply << false << std::optional<int>(0) << false;
        QTest::newRow("Multiply one up") << multiply << false << std::optional<int>(1) << true;
        QTest::newRow("Multiply outside the list") << multiply << false << std::optional<int>(-1) << true;
    }
    void shaderRule()
    {
        QFETCH(int, mode);
        QFETCH(bool, mask);
        QFETCH(std::optional<int>, index);
        QFETCH(bool, shader);
        QCOMPARE(VellLayerBase::shaderBlendingRule(mode, mask, index), shader);
        VellLayerBase layer("layer");
        layer.setBlendMode(mode);
        if (index)
            VellLayerBase::setStackIndexProbe([&layer, index](const VellLayerBase *asked) {
                return asked == &layer ? index : std::optional<int>(0);
            });
        QCOMPARE(layer.needShaderBlending(), shader && !mask);
    }
};

QTEST_GUILESS_MAIN(TestVellLayerBase)
#include "tst_velllayerbase.moc"
