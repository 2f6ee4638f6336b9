#include "interchange/vellziparchive.h"

#include "interchange/oratestsupport.h"

#include <QTemporaryDir>
#include <QtTest>

using OraTest::Entry;

class TestVellZipArchive : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir dir;

    // Bytes that deflate well but not to nothing, and whose corruption shows.
    static QByteArray text(int size)
    {
        QByteArray bytes(size, Qt::Uninitialized);
        for (int i = 0; i < size; ++i)
            bytes[i] = char('a' + (i * 7 + i / 13) % 26);
        return bytes;
    }

private slots:
    void initTestCase() { QVERIFY(dir.isValid()); }

    // Entries come back in the order written, with their names, sizes,
    // methods and bytes, from a file and from memory alike.
    void roundTrip()
    {
        const QVector<Entry> entries = {
            { QStringLiteral("first"), QByteArray("stored first") },
            { QStringLiteral("dir/deflated.txt"), text(5000), VellZipArchive::Deflated },
            { QStringLiteral("naïve/草稿.bin"), text(3), VellZipArchive::Stored },
            { QStringLiteral("empty"), QByteArray(), VellZipArchive::Deflated },
        };
        const QByteArray bytes = OraTest::archive(dir, entries);
        QVERIFY(!bytes.isEmpty());
        const QString path = dir.filePath(QStringLiteral("copy.zip"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        file.close();
        for (bool fromFile : { false, true }) {
            VellZipArchive zip;
            QVERIFY(fromFile ? zip.openFile(path) : zip.openData(bytes));
            QCOMPARE(zip.entries().size(), entries.size());
            for (int i = 0; i < entries.size(); ++i) {
                const VellZipArchive::Entry &entry = zip.entries().at(i);
                QCOMPARE(entry.name, entries.at(i).name);
                QCOMPARE(entry.size, qint64(entries.at(i).bytes.size()));
                QCOMPARE(entry.method, entries.at(i).method == VellZipArchive::Stored ? 0 : 8);
                QVERIFY(!entry.encrypted);
                QByteArray got("untouched");
                QVERIFY(zip.read(i, entry.size, &got));
                QCOMPARE(got, entries.at(i).bytes);
            }
            QVERIFY(zip.entries().at(1).compressedSize < 5000);
            QCOMPARE(zip.indexOf(QStringLiteral("naïve/草稿.bin")), 2);
            QCOMPARE(zip.indexOf(QStringLiteral("missing")), -1);
        }
    }

    void readRefused_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<qint64>("cap");
        QTest::addColumn<QString>("reason");
        const QByteArray stored = OraTest::archive(dir, { { QStringLiteral("e"), text(300) } });
        QTest::newRow("over the cap") << stored << qint64(299) << "over the cap";
        QTest::newRow("cap 0") << stored << qint64(0) << "over the cap";
        QByteArray flipped = stored;
        flipped[30 + 1 + 100] = char(flipped[30 + 1 + 100] ^ 1);   // header, name "e", then data
        QTest::newRow("stored bytes changed") << flipped << qint64(300) << "damaged";
        QByteArray deflated = OraTest::archive(dir, { { QStringLiteral("e"), text(4000), VellZipArchive::Deflated } });
        // The uncompressed size stated in both headers says 3000; the data holds 4000.
        for (const QByteArray &signature : { QByteArray("PK\x03\x04", 4), QByteArray("PK\x01\x02", 4) }) {
            const int at = deflated.indexOf(signature);
            const int offset = signature[2] == '\x03' ? 22 : 24;
            deflated[at + offset] = char(3000 & 0xff);
            deflated[at + offset + 1] = char(3000 >> 8);
        }
        QTest::newRow("more data than stated") << deflated << qint64(1 << 20) << "damaged";
    }

    // A refused read leaves the output alone and says why.
    void readRefused()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(qint64, cap);
        QFETCH(QString, reason);
        VellZipArchive zip;
        QVERIFY(zip.openData(bytes));
        QByteArray out("untouched");
        QVERIFY(!zip.read(0, cap, &out));
        QCOMPARE(out, QByteArray("untouched"));
        QVERIFY2(zip.errorString().contains(reason), qPrintable(zip.errorString()));
        QVERIFY(!zip.read(1, cap, &out));   // no such entry
    }

    void misuse()
    {
        VellZipArchive zip;
        QVERIFY(!zip.addEntry(QStringLiteral("x"), "x", VellZipArchive::Stored));
        QVERIFY(!zip.commit());
        QByteArray out;
        QVERIFY(!zip.read(0, 10, &out));
        QVERIFY(!zip.openFile(dir.filePath(QStringLiteral("does-not-exist.zip"))));
        QVERIFY(!zip.openData(QByteArray()));
        QVERIFY(!zip.openData(QByteArray(100, 'P')));
        QVERIFY(zip.entries().isEmpty());

        // Reading does not write: an opened archive closed again is unchanged.
        const QByteArray bytes = OraTest::archive(dir, { { QStringLiteral("a"), "a" } });
        const QString path = dir.filePath(QStringLiteral("read-only-use.zip"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        file.close();
        QVERIFY(zip.openFile(path));
        QVERIFY(!zip.addEntry(QStringLiteral("b"), "b", VellZipArchive::Stored));
        zip.close();
        QCOMPARE(OraTest::fileBytes(path), bytes);

        // An archive never committed leaves no file.
        const QString never = dir.filePath(QStringLiteral("never.zip"));
        {
            VellZipArchive abandoned;
            QVERIFY(abandoned.create(never));
            QVERIFY(abandoned.addEntry(QStringLiteral("a"), "a", VellZipArchive::Stored));
        }
        QVERIFY(!QFileInfo::exists(never));
    }
};

QTEST_GUILESS_MAIN(TestVellZipArchive)
#include "tst_vellziparchive.moc"
