#ifndef VELLMEMOLOADERTHREAD_H
#define VELLMEMOLOADERTHREAD_H

#include <QByteArray>
#include <QMutex>
#include <QString>
#include <QThread>

class QIODevice;
class VellPictureHost;

// Moves one memo's bulk data between memory and its swap file, off the GUI
// thread. Each run() is one transfer: write mode writes the picture host or
// the byte array to the file (truncating it), load mode reads it back, into a
// new host put where the memo's host pointer points or into the memo's byte
// array. At the end it posts a VellSwapFinisheEvent to the memo.
//
// File contents are one QDataStream (Qt 4.8 encoding) value: a picture host
// in its stream form, or a QByteArray (32-bit length, then the bytes).
//
// Unlike a bare copy, every transfer checks what the disk did: succeeded()
// tells the memo whether the file now holds the data (write) or the data was
// read back whole (load), so that a full disk leaves the data in memory and a
// vanished or cut file fails the undo rather than the document.
//
// Owned by its memo (QObject child). While a transfer runs the memo must not
// touch the data it handed over; the two swap operations refuse to start a
// second transfer, so only the thread touches it then.
class VellMemoLoaderThread : public QThread
{
    Q_OBJECT

public:
    enum DataKind { PictureData = 0, ByteArrayData = 1 };

    explicit VellMemoLoaderThread(QObject *receiver);
    ~VellMemoLoaderThread() override;

    void setFileName(const QString &name) { fileName = name; }
    // Both pointers are the memo's; they must outlive every transfer.
    void setPicture(VellPictureHost **host) { picture = host; dataKind = PictureData; }
    void setByteArray(QByteArray *bytes) { byteArray = bytes; dataKind = ByteArrayData; }
    void setLoadMode() { loadMode = true; }
    void setWriteMode() { loadMode = false; }
    bool isLoadMode() const { return loadMode; }
    int getDataKind() const { return dataKind; }

    // The last transfer's outcome, valid once it has finished.
    bool succeeded() const { return success; }

    // The file forms, shared with the tests and the fuzz harness. The readers
    // check sizes before allocating and return null / false, with `bytes`
    // unchanged, for anything but one whole value.
    static bool writePicture(QIODevice *device, const VellPictureHost *host);
    static VellPictureHost *readPicture(QIODevice *device);
    static bool writeByteArray(QIODevice *device, const QByteArray &bytes);
    static bool readByteArray(QIODevice *device, QByteArray *bytes);

signals:
    // Declared for listeners; completion reaches the memo as the event.
    void swapFinished();

protected:
    void run() override;

private:
    QString fileName;
    VellPictureHost **picture = nullptr;   // the memo's pointer, not owned
    QMutex mutex;                          // held for one whole transfer
    bool loadMode = false;
    QObject *receiver = nullptr;           // the memo, not owned
    QByteArray *byteArray = nullptr;       // the memo's, not owned
    int dataKind = PictureData;
    bool success = false;
};

#endif // VELLMEMOLOADERTHREAD_H
