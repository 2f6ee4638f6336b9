#include "document/velllayerbase.h"

#include <QVector>
#include <QtTest>

#include <limits>
#include <optional>

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kOdd = 4503599627370497.0;   // 2^52 + 1: x + 0.5 is not representable

// The modes in code order (0, 10, ... 240), as documents and the shader know them.
const char *const kExpectedNames[] = {
    "Normal", "Dissolve", "Darken", "Multiply", "Color Burn", "Linear Burn",
    "Darker Color", "Lighten", "Screen", "Color Dodge", "Linear Dodge", "Lighter Color",
    "Overlay", "Soft Light", "Hard Light", "Vivid Light", "Linear Light", "Pin Light",
    "Hard Mix", "Difference", "Exclusion", "Hue", "Saturation", "Color", "Luminosity"};

} // namespace

// The place in the current document; none when there is no current document.
Q_DECLARE_METATYPE(std::optional<int>)

class TestVellLayerBase : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { VellLayerBase::setStackIndexProbe(nullptr); }

    void blendModeTable_data()
    {
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("name");
        for (int i = 0; i < 25; ++i)
            QTest::newRow(kExpectedNames[i]) << i * 10 << QString(kExpectedNames[i]);
        QTest::newRow("between codes") << 35 << QString();
        QTest::newRow("past the last") << 250 << QString();
        QTest::newRow("negative") << -10 << QString();
    }
    void blendModeTable()
    {
        QFETCH(int, code);
        QFETCH(QString, name);
        QCOMPARE(VellLayerBase::getBlendModeList().size(), 25);
        QCOMPARE(VellLayerBase::getBlendModeList().value(code), name);
        QCOMPARE(VellLayerBase::getBlendModeName(code), name);
        const int back = name.isEmpty() ? -1 : code;
        QCOMPARE(VellLayerBase::getBlendModeCode(name), back);
        QCOMPARE(VellLayerBase::blendModeFromUserName(name), back);
        VellLayerBase layer("layer");
        layer.setBlendMode(code);   // the shader only knows the table's codes
        QCOMPARE(layer.getBlendMode(), qMax(back, 0));
    }

    void userName_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<int>("code");
        QTest::newRow("hyphens") << "color-burn" << 40;
        QTest::newRow("underscores, upper case") << "COLOR_BURN" << 40;
        QTest::newRow("padded, doubled separators") << "  hard -_mix " << 180;
        QTest::newRow("short name not a prefix") << "color" << 230;
        QTest::newRow("no separator") << "colorburn" << -1;
        QTest::newRow("separators only") << " -_ " << -1;
    }
    void userName()
    {
        QFETCH(QString, typed);
        QFETCH(int, code);
        QCOMPARE(VellLayerBase::blendModeFromUserName(typed), code);
        QCOMPARE(VellLayerBase::getBlendModeCode(typed), -1);   // the exact lookup stays exact
    }

    void storedValues_data()
    {
        QTest::addColumn<QPointF>("position");
        QTest::addColumn<float>("opacity");
        QTest::addColumn<QPointF>("storedPosition");
        QTest::addColumn<float>("storedOpacity");
        QTest::newRow("halves up, opacity over one")
            << QPointF(10.5, -3.5) << 1.5f << QPointF(11, -3) << 1.0f;
        QTest::newRow("minus halves, opacity below zero")
            << QPointF(-0.5, -1.5) << -0.2f << QPointF(0, -1) << 0.0f;
        QTest::newRow("largest double below 0.5")
            << QPointF(0.49999999999999994, 0) << 0.3f << QPointF(0, 0) << 0.3f;
        QTest::newRow("odd beyond 2^52")
            << QPointF(kOdd, -kOdd) << 1.0f << QPointF(kOdd, -kOdd) << 1.0f;
        QTest::newRow("NaN keeps the old values")
            << QPointF(kNaN, 5) << float(kNaN) << QPointF(7, 8) << 0.25f;
    }
    void storedValues()
    {
        QFETCH(QPointF, position);
        QFETCH(float, opacity);
        QFETCH(QPointF, storedPosition);
        QFETCH(float, storedOpacity);
        VellLayerBase layer("layer");
        layer.setPosition(QPointF(7, 8));
        layer.setAlpha(0.25f);
        layer.setPosition(position);
        layer.setAlpha(opacity);
        const QPointF got = layer.getPosition();
        // Exact: QPointF's == is fuzzy and would pass an off-by-one beyond 2^52.
        QVERIFY2(got.x() == storedPosition.x() && got.y() == storedPosition.y(),
                 qPrintable(QString("got %1, %2").arg(got.x(), 0, 'f', 1).arg(got.y(), 0, 'f', 1)));
        QCOMPARE(layer.getAlpha(), storedOpacity);
    }

    void shaderRule_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<bool>("mask");
        QTest::addColumn<std::optional<int>>("index");
        QTest::addColumn<bool>("shader");
        QTest::newRow("no document") << 30 << false << std::optional<int>() << false;
        QTest::newRow("no document, mask") << 0 << true << std::optional<int>() << true;
        QTest::newRow("Normal above bottom") << 0 << false << std::optional<int>(2) << false;
        QTest::newRow("Multiply at bottom") << 30 << false << std::optional<int>(0) << false;
        QTest::newRow("Multiply one up") << 30 << false << std::optional<int>(1) << true;
        QTest::newRow("Multiply outside the list") << 30 << false << std::optional<int>(-1) << true;
    }
    void shaderRule()
    {
        QFETCH(int, mode);
        QFETCH(bool, mask);
        QFETCH(std::optional<int>, index);
        QFETCH(bool, shader);
        QCOMPARE(VellLayerBase::shaderBlendingRule(mode, mask, index), shader);
    }

    void shaderRuleReadsCurrentDocument()
    {
        VellLayerBase multiply("multiply"), below("below");
        multiply.setBlendMode(30);
        QVERIFY(!multiply.needShaderBlending());   // no document yet
        QVector<VellLayerBase *> stack{&multiply};   // bottom first
        VellLayerBase::setStackIndexProbe(
            [&stack](const VellLayerBase *layer) -> std::optional<int> {
                return int(stack.indexOf(const_cast<VellLayerBase *>(layer)));
            });
        QVERIFY(!multiply.needShaderBlending());
        stack.prepend(&below);
        QVERIFY(multiply.needShaderBlending());
    }
};

QTEST_GUILESS_MAIN(TestVellLayerBase)
#include "tst_velllayerbase.moc"
