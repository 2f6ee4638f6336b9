// The presets browser and batch recording with the Brightness/Contrast
// plug-in: its thumbnails against the filter computed on the CPU, hover
// previews and their undoing, renames and deletes on disk, and the step a
// batch-mode apply records.
#include "canvas/vellcanvas.h"
#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "foundation/velldatalocation.h"
#include "foundation/vellmessagebox.h"
#include "gpu/vellgltexture2d.h"
#include "history/vellhistory.h"
#include "picture/vellpicturehost.h"
#include "presets/vellbatchactionfilter.h"
#include "presets/vellbatchactionrecord.h"
#include "presets/vellfilterpresetstable.h"
#include "presets/vellfilterpresetswidget.h"
#include "presets/vellfilterwidget.h"
#include "selection/vellselection.h"
#include "support/vellt2files.h"
#include "tools/velltoolbase.h"
#include "tools/velltoolmanager.h"

#include <QDir>
#include <QFile>
#include <QPushButton>
#include <QSettings>
#include <QtTest>

#include <cmath>
#include <memory>

namespace {

constexpr int kWidth = 64, kHeight = 48;

QByteArray params(qint32 brightness, qint32 contrast)
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setVersion(QDataStream::Qt_4_8);
    out << brightness << contrast;
    return bytes;
}

void setLanguage(const QString &code)
{
    QSettings(VellDataLocation::configFile(), QSettings::IniFormat).setValue(QStringLiteral("language"), code);
}

// Brightness b in -100 .. 100 with contrast 0, on one 8-bit channel.
int brightened(int v, int b)
{
    const double c = v / 255.0, k = b / 100.0;
    return int(std::lround((k < 0 ? c * (1 + k) : c + (1 - c) * k) * 255.0));
}

} // namespace

class TestVellFilterPresets : public QObject
{
    Q_OBJECT
    VellCanvas *canvas = nullptr;
    VellToolBase *tool = nullptr;
    std::unique_ptr<VellContext> document;
    VellLayer *layer = nullptr;
    QString folder;
    QList<VellMessageBox::Message> boxes;
    QMessageBox::StandardButton answer = QMessageBox::Yes;

    VellFilterPresetsWidget *view() const
    {
        return static_cast<VellFilterPresetsWidget *>(tool->getPresetsWidget()->widget());
    }
    QTableWidgetItem *itemFor(const QString &file) const
    {
        VellFilterPresetsTable *table = view()->getTable();
        for (int r = 0; r < table->rowCount(); ++r)
            for (int c = 0; c < table->columnCount(); ++c)
                if (table->item(r, c) && table->item(r, c)->data(VellFilterPresetsTable::FileNameRole) == file)
                    return table->item(r, c);
        return nullptr;
    }
    QImage preview()
    {
        canvas->makeCurrent();
        return layer->getThumbTexture()->toQImage();
    }
    // Lets a remembered preview request run (previews are at most one per 3
    // ms). The busy window is closed by hand: on a loaded machine its timer
    // may not have fired within the wait.
    void settle()
    {
        QTest::qWait(5);
        tool->onBusyTimeout();
        tool->onTimeout();
    }

private slots:
    void cleanupTestCase() { delete canvas; }

    void initTestCase()
    {
        VellMessageBox::setPresenter([this](const VellMessageBox::Message &m) {
            boxes.append(m);
            return m.buttons & QMessageBox::Yes ? answer : QMessageBox::Ok;
        });
        canvas = VellCanvas::getInstance(kWidth, kHeight);
        canvas->resize(100, 80);
        canvas->show();
        QVERIFY(QTest::qWaitForWindowExposed(canvas));
        QVERIFY(canvas->isValid());
        VellToolManager *manager = VellToolManager::getInstance();
        manager->setToolsPath(QStringLiteral(VELL_PLUGIN_TOOLS_DIR));
        manager->loadTools();
        tool = qobject_cast<VellToolBase *>(manager->getTool(QStringLiteral("Filter"), QStringLiteral("brightness-contrast")));
        QVERIFY(tool);
    }

    void init()
    {
        boxes.clear();
        answer = QMessageBox::Yes;
        QDir(VellToolBase::presetPath()).removeRecursively();
        folder = tool->getPresetsPath();
        QVERIFY(vellt2::writeFile(folder + "/Bright", params(60, 0)));
        QVERIFY(vellt2::writeFile(folder + "/Bright.name", "en:Bright\r\nde_DE:Hell"));
        QVERIFY(vellt2::writeFile(folder + "/Dark", params(-50, 0)));
        QVERIFY(vellt2::writeFile(folder + "/Dark.name", "en:Dark"));

        VellContextManager *manager = VellContextManager::getInstance();
        canvas->makeCurrent();
        document = std::make_unique<VellContext>();
        document->setSelection(new VellSelection(nullptr, kWidth, kHeight));
        manager->addContext(document.get());
        manager->setCurrentContext(manager->indexOfContext(document.get()));
        auto *host = new VellPictureHost(kWidth, kHeight, 4);
        for (qint64 i = 0; i < host->getByteCount(); ++i)
            host->getData()[i] = i % 4 == 3 ? 255 : uchar(i * 7 + i / 256);
        layer = new VellLayer(QStringLiteral("pattern"));
        layer->setVellPictureHost(host);
        document->getLayerManager()->addLayer(layer, false);
        canvas->reSizeCanvas(kWidth, kHeight, false);
        canvas->setScale(1.0f, false);
        canvas->moveToCenter(false);
        canvas->calcVisibleRect();
        canvas->Render(nullptr);

        tool->active(document.get());
        QVERIFY(tool->isActive());
        QVERIFY(tool->getPresetsWidget());
        view()->show();
        if (!view()->expanded())
            view()->expand();
        tool->updatePresetThumbs(layer);
        QCOMPARE(view()->getThumbs().size(), 2);
    }

    void cleanup()
    {
        tool->disActive();
        tool->clearParamBuffers();
        document.reset();
    }

    void tableLayout_data()
    {
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("columns");
        QTest::addColumn<int>("rows");
        // Thumbnails of 40 x 30: columns 50 wide, counted as 55.
        QTest::newRow("7 in 3 columns") << 7 << 200 << 3 << 3;
        QTest::newRow("6 in 3 columns") << 6 << 200 << 3 << 2;
        QTest::newRow("narrower than a column") << 7 << 30 << 1 << 7;
    }

    void tableLayout()
    {
        QFETCH(int, count);
        QFETCH(int, width);
        QFETCH(int, columns);
        QFETCH(int, rows);
        VellFilterPresetsTable table;
        table.resize(width, 200);
        table.show();   // a hidden table's viewport keeps its first size
        QVERIFY(QTest::qWaitForWindowExposed(&table));
        QVector<QImage> thumbs(count, QImage(40, 30, QImage::Format_ARGB32));
        QStringList names, files;
        for (int i = 0; i < count; ++i)
            names << QStringLiteral("caption %1").arg(i), files << QStringLiteral("file %1").arg(i);
        table.setContent(&thumbs, &names, &files);
        QCOMPARE(table.columnCount(), columns);
        QCOMPARE(table.rowCount(), rows);
        QCOMPARE(table.rowHeight(0), 50);
        QCOMPARE(table.columnWidth(columns - 1), 50);
        for (int i = 0; i < count; ++i) {
            QTableWidgetItem *item = table.item(i / columns, i % columns);
            QVERIFY2(item, qPrintable(QString::number(i)));
            QCOMPARE(item->text(), names.at(i));
            QCOMPARE(item->data(VellFilterPresetsTable::FileNameRole).toString(), files.at(i));
            QCOMPARE(item->data(VellFilterPresetsTable::DisplayNameRole).toString(), names.at(i));
            QCOMPARE(item->data(Qt::TextAlignmentRole).toInt(), int(Qt::AlignBottom));
        }
    }

    // The layer is all visible and smaller than a thumbnail: each thumbnail is
    // the preset on the whole layer, pixel for pixel.
    void thumbnailMatchesFilter()
    {
        const QStringList names = tool->getPresetNames();
        const int bright = names.indexOf(QStringLiteral("Bright"));
        QVERIFY(bright >= 0);
        const QImage thumb = view()->getThumbs().at(bright);
        QCOMPARE(thumb.size(), QSize(kWidth, kHeight));
        const unsigned char *bytes = layer->getPictureHost()->getData();
        for (int y = 0; y < kHeight; ++y)
            for (int x = 0; x < kWidth; ++x) {
                const unsigned char *p = bytes + 4 * (y * kWidth + x);   // blue, green, red, alpha
                const QRgb want = qRgba(brightened(p[2], 60), brightened(p[1], 60), brightened(p[0], 60), p[3]);
                const QRgb got = thumb.pixel(x, y);
                QVERIFY2(qAbs(qRed(got) - qRed(want)) <= 1 && qAbs(qGreen(got) - qGreen(want)) <= 1
                             && qAbs(qBlue(got) - qBlue(want)) <= 1 && qAlpha(got) == qAlpha(want),
                         qPrintable(QStringLiteral("%1,%2: %3, expected %4").arg(x).arg(y)
                                        .arg(got, 8, 16).arg(want, 8, 16)));
            }
    }

    void hoverPreviewsAndClickAdopts()
    {
        VellFilterPresetsTable *table = view()->getTable();
        tool->setParameterValue(QStringLiteral("brightness"), 10);
        tool->setParameterValue(QStringLiteral("contrast"), 20);
        const QByteArray user = tool->parameterBytes();
        tool->apply();
        settle();
        const QImage before = preview();

        emit table->mouseEnter();
        emit table->itemEntered(itemFor(QStringLiteral("Dark")));
        settle();
        QCOMPARE(tool->parameterBytes(), params(-50, 0));
        QVERIFY(preview() != before);
        emit table->itemEntered(itemFor(QStringLiteral("Bright")));
        emit table->mouseLeave();
        settle();
        QCOMPARE(tool->parameterBytes(), user);
        QCOMPARE(preview(), before);

        // A click makes the hovered preset what leaving restores.
        emit table->mouseEnter();
        emit table->itemEntered(itemFor(QStringLiteral("Dark")));
        emit table->itemClicked(itemFor(QStringLiteral("Dark")));
        emit table->itemEntered(itemFor(QStringLiteral("Bright")));
        emit table->mouseLeave();
        QCOMPARE(tool->parameterBytes(), params(-50, 0));
    }

    void captions_data()
    {
        QTest::addColumn<QString>("language");
        QTest::addColumn<QByteArray>("names");
        QTest::addColumn<QString>("caption");
        QTest::newRow("the language's line") << "de_DE" << QByteArray("en:Soft\r\nde_DE:Sanft") << "Sanft";
        QTest::newRow("empty text falls through") << "de_DE" << QByteArray("de_DE:\r\nen:Soft\r\nde_DE:Weich") << "Weich";
        QTest::newRow("only empty text: file name") << "de_DE" << QByteArray("en:Soft\r\nde_DE:") << "Soft file";
        QTest::newRow("text with a colon") << "en" << QByteArray("en:a:b") << "a:b";
        QTest::newRow("no language set") << "" << QByteArray("en:Soft") << "Soft file";
        QTest::newRow("no .name file") << "en" << QByteArray() << "Soft file";
    }

    void captions()
    {
        QFETCH(QString, language);
        QFETCH(QByteArray, names);
        QFETCH(QString, caption);
        setLanguage(language);
        if (!names.isEmpty())
            QVERIFY(vellt2::writeFile(folder + "/Soft file.name", names));
        QCOMPARE(VellFilterPresetsWidget::getDisplayName(folder, QStringLiteral("Soft file")), caption);
    }

    void rename_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("caption");   // afterwards
        QTest::addColumn<QString>("file");      // that holds the parameters afterwards
        QTest::addColumn<QByteArray>("names");  // its .name file afterwards
        QTest::addColumn<QString>("message");
        QTest::newRow("spaces around the same name") << " Bright " << " Bright " << "Bright"
                                                     << QByteArray("en:Bright\r\nde_DE:Hell") << "";
        QTest::newRow("empty: caption restored") << "  " << "Bright" << "Bright"
                                                 << QByteArray("en:Bright\r\nde_DE:Hell") << "";
        QTest::newRow("existing name refused") << "Dark" << "Bright" << "Bright"
                                               << QByteArray("en:Bright\r\nde_DE:Hell")
                                               << "Failed to rename preset to: Dark";
        QTest::newRow("renamed with its names") << "Light" << "Light" << "Light"
                                                << QByteArray("en:Light\r\nde_DE:Hell") << "";
    }

    void rename()
    {
        QFETCH(QString, typed);
        QFETCH(QString, caption);
        QFETCH(QString, file);
        QFETCH(QByteArray, names);
        QFETCH(QString, message);
        setLanguage(QStringLiteral("en"));
        tool->updatePresetThumbs(layer);
        QTableWidgetItem *item = itemFor(QStringLiteral("Bright"));
        QVERIFY(item);
        item->setText(typed);
        QCOMPARE(item->text(), caption);
        QCOMPARE(item->data(VellFilterPresetsTable::FileNameRole).toString(), file);
        QCOMPARE(vellt2::fileBytes(folder + "/" + file), params(60, 0));
        QCOMPARE(vellt2::fileBytes(folder + "/" + file + ".name"), names);
        QVERIFY(QFile::exists(folder + "/Dark"));
        QCOMPARE(boxes.size(), message.isEmpty() ? 0 : 1);
        if (!message.isEmpty())
            QCOMPARE(boxes.first().title + ": " + boxes.first().text, "Failed: " + message);
    }

    void deletePreset_data()
    {
        QTest::addColumn<bool>("select");
        QTest::addColumn<int>("answer");
        QTest::addColumn<bool>("removed");
        QTest::addColumn<QString>("title");
        QTest::newRow("yes") << true << int(QMessageBox::Yes) << true << "Alert";
        QTest::newRow("no") << true << int(QMessageBox::No) << false << "Alert";
        QTest::newRow("nothing selected") << false << int(QMessageBox::Yes) << false << "Error";
    }

    void deletePreset()
    {
        QFETCH(bool, select);
        QFETCH(int, answer);
        QFETCH(bool, removed);
        QFETCH(QString, title);
        this->answer = QMessageBox::StandardButton(answer);
        view()->getTable()->clearSelection();
        if (select)
            itemFor(QStringLiteral("Dark"))->setSelected(true);
        view()->getDeleteButton()->click();
        QCOMPARE(boxes.size(), 1);
        QCOMPARE(boxes.first().title + ": " + boxes.first().text,
                 title + (select ? ": Do you really want to delete the preset: Dark"
                                 : ": Please select a preset to delete."));
        if (select)
            QCOMPARE(boxes.first().defaultButton, QMessageBox::Yes);
        QCOMPARE(QFile::exists(folder + "/Dark"), !removed);
        QCOMPARE(QFile::exists(folder + "/Dark.name"), !removed);
        QCOMPARE(itemFor(QStringLiteral("Dark")) == nullptr, removed);
    }

    void batchRecording_data()
    {
        QTest::addColumn<bool>("attached");
        QTest::addColumn<int>("mode");
        QTest::addColumn<int>("recorded");
        QTest::newRow("record in mode 0") << true << 0 << 1;
        QTest::newRow("record replaying (mode 1)") << true << 1 << 0;
        QTest::newRow("document without a record") << false << 0 << 0;
    }

    void batchRecording()
    {
        QFETCH(bool, attached);
        QFETCH(int, mode);
        QFETCH(int, recorded);
        VellBatchActionRecord record;
        record.setMode(mode);
        if (attached)
            VellBatchActionRecord::setDocumentRecord(document.get(), &record);
        document->batchFlag = true;
        tool->setParameterValue(QStringLiteral("brightness"), 25);
        tool->setParameterValue(QStringLiteral("contrast"), -10);
        tool->applyEntire(false);
        QCOMPARE(document->getHistory()->getMemoCount(), 0);
        QVERIFY(!document->getLastMemo());
        QCOMPARE(record.getActionList()->size(), recorded);
        if (recorded) {
            auto *step = static_cast<VellBatchActionFilter *>(record.getActionList()->first());
            QCOMPARE(step->getType(), int(VellBatchAction::Filter));
            QCOMPARE(step->getToolId(), QStringLiteral("brightness-contrast"));
            QCOMPARE(*step->getParams(), params(25, -10));
        }
        VellBatchActionRecord::setDocumentRecord(document.get(), nullptr);
    }

    void beforeAfterToggle_data()
    {
        QTest::addColumn<QString>("input");
        QTest::addColumn<bool>("before");
        QTest::addColumn<bool>("after");
        QTest::newRow("double click: off") << "double click" << true << false;
        QTest::newRow("double click: on") << "double click" << false << true;
        QTest::newRow("Space held") << "space press" << true << false;
        QTest::newRow("Space released") << "space release" << false << true;
        QTest::newRow("another key") << "x press" << true << true;
    }

    // The panel toggles the canvas between the preview and the unfiltered layer.
    void beforeAfterToggle()
    {
        QFETCH(QString, input);
        QFETCH(bool, before);
        QFETCH(bool, after);
        VellFilterWidget panel;
        canvas->setPreviewWhenApply(before);
        if (input == "double click")
            QTest::mouseDClick(&panel, Qt::LeftButton);
        else if (input == "space press")
            QTest::keyPress(&panel, Qt::Key_Space);
        else if (input == "space release")
            QTest::keyRelease(&panel, Qt::Key_Space);
        else
            QTest::keyPress(&panel, Qt::Key_X);
        QCOMPARE(canvas->isShowPreviewWhenApply(), after);
        canvas->setPreviewWhenApply(true);
    }
};

QTEST_MAIN(TestVellFilterPresets)
#include "tst_vellfilterpresets.moc"
