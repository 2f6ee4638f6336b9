#include "document/velltextcontrol.h"

#include <QApplication>
#include <QGuiApplication>
#include <QStyleHints>
#include <QClipboard>
#include <QKeyEvent>
#include <QMimeData>
#include <QTextDocument>
#include <QTextDocumentFragment>
#include <QTimerEvent>

namespace {

struct Move
{
    QKeySequence::StandardKey key;
    QTextCursor::MoveOperation operation;
    QTextCursor::MoveMode mode;
};

// Keys that move the cursor, with and without selecting.
const Move kMoves[] = {
    {QKeySequence::MoveToNextChar, QTextCursor::Right, QTextCursor::MoveAnchor},
    {QKeySequence::MoveToPreviousChar, QTextCursor::Left, QTextCursor::MoveAnchor},
    {QKeySequence::MoveToNextWord, QTextCursor::NextWord, QTextCursor::MoveAnchor},
    {QKeySequence::MoveToPreviousWord, QTextCursor::PreviousWord, QTextCursor::MoveAnchor},
    {QKeySequence::MoveToNextLine, QTextCursor::Down, QTextCursor::MoveAnchor},
    {QKeySequence::MoveToPreviousLine, QTextCursor::Up, QTextCursor::MoveAnchor},
    {QKeySequence::MoveToStartOfLine, QTextCursor::StartOfLine, QTextCursor::MoveAnchor},
    {QKeySequence::MoveToEndOfLine, QTextCursor::EndOfLine, QTextCursor::MoveAnchor},
    {QKeySequence::MoveToStartOfBlock, QTextCursor::StartOfBlock, QTextCursor::MoveAnchor},
    {QKeySequence::MoveToEndOfBlock, QTextCursor::EndOfBlock, QTextCursor::MoveAnchor},
    {QKeySequence::MoveToStartOfDocument, QTextCursor::Start, QTextCursor::MoveAnchor},
    {QKeySequence::MoveToEndOfDocument, QTextCursor::End, QTextCursor::MoveAnchor},
    {QKeySequence::SelectNextChar, QTextCursor::Right, QTextCursor::KeepAnchor},
    {QKeySequence::SelectPreviousChar, QTextCursor::Left, QTextCursor::KeepAnchor},
    {QKeySequence::SelectNextWord, QTextCursor::NextWord, QTextCursor::KeepAnchor},
    {QKeySequence::SelectPreviousWord, QTextCursor::PreviousWord, QTextCursor::KeepAnchor},
    {QKeySequence::SelectNextLine, QTextCursor::Down, QTextCursor::KeepAnchor},
    {QKeySequence::SelectPreviousLine, QTextCursor::Up, QTextCursor::KeepAnchor},
    {QKeySequence::SelectStartOfLine, QTextCursor::StartOfLine, QTextCursor::KeepAnchor},
    {QKeySequence::SelectEndOfLine, QTextCursor::EndOfLine, QTextCursor::KeepAnchor},
    {QKeySequence::SelectStartOfBlock, QTextCursor::StartOfBlock, QTextCursor::KeepAnchor},
    {QKeySequence::SelectEndOfBlock, QTextCursor::EndOfBlock, QTextCursor::KeepAnchor},
    {QKeySequence::SelectStartOfDocument, QTextCursor::Start, QTextCursor::KeepAnchor},
    {QKeySequence::SelectEndOfDocument, QTextCursor::End, QTextCursor::KeepAnchor},
};

// Vertical text is columns of characters read top to bottom, the columns
// right to left: the arrows keep their direction on screen.
QTextCursor::MoveOperation verticalOperation(QTextCursor::MoveOperation operation)
{
    switch (operation) {
    case QTextCursor::Down: return QTextCursor::NextCharacter;
    case QTextCursor::Up: return QTextCursor::PreviousCharacter;
    case QTextCursor::Left: return QTextCursor::NextBlock;
    case QTextCursor::Right: return QTextCursor::PreviousBlock;
    default: return operation;
    }
}

} // namespace

VellTextControl::VellTextControl(QTextDocument *document, QObject *parent)
    : QObject(parent), doc(document), cursor(document)
{
    connect(doc, &QTextDocument::contentsChanged, this, [this] {
        emit textChanged();
        emit updateRequest();
    });
}

VellTextControl::~VellTextControl() = default;

void VellTextControl::setTextCursor(const QTextCursor &newCursor)
{
    if (newCursor.document() != doc)
        return;
    cursor = newCursor;
    cursorMoved();
}

void VellTextControl::setFocus(bool on)
{
    focused = on;
    if (on)
        restartBlink();
    else
        blinkTimer.stop();
    emit updateRequest();
}

void VellTextControl::restartBlink()
{
    blinkOn = true;
    // The platform's flash time: only a GUI application has a platform.
    const int flash = focused && qobject_cast<QGuiApplication *>(QCoreApplication::instance())
                          ? QGuiApplication::styleHints()->cursorFlashTime()
                          : 0;
    if (flash > 0)
        blinkTimer.start(flash / 2, this);
    else
        blinkTimer.stop();
}

void VellTextControl::cursorMoved()
{
    restartBlink();   // a moved cursor shows at once
    emit cursorPositionChanged();
    emit updateRequest();
}

void VellTextControl::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != blinkTimer.timerId()) {
        QObject::timerEvent(event);
        return;
    }
    blinkOn = !blinkOn;
    emit updateRequest();
}

bool VellTextControl::event(QEvent *event)
{
    if (event->type() == QEvent::KeyPress) {
        const bool used = keyPress(static_cast<QKeyEvent *>(event));
        event->setAccepted(used);
        return used;
    }
    return QObject::event(event);
}

bool VellTextControl::moveFor(QKeyEvent *event)
{
    if (!(flags & (Qt::TextSelectableByKeyboard | Qt::TextEditable)))
        return false;
    for (const Move &move : kMoves) {
        if (!event->matches(move.key))
            continue;
        const QTextCursor::MoveOperation operation =
            vertical ? verticalOperation(move.operation) : move.operation;
        cursor.movePosition(operation, move.mode);
        cursorMoved();
        return true;
    }
    if (event->matches(QKeySequence::SelectAll)) {
        cursor.select(QTextCursor::Document);
        cursorMoved();
        return true;
    }
    return false;
}

bool VellTextControl::keyPress(QKeyEvent *event)
{
    if (moveFor(event))
        return true;
    if (event->matches(QKeySequence::Copy)) {
        if (cursor.hasSelection())
            QApplication::clipboard()->setText(cursor.selection().toPlainText());
        return true;
    }
    if (!(flags & Qt::TextEditable))
        return false;

    if (event->matches(QKeySequence::Cut)) {
        if (cursor.hasSelection()) {
            QApplication::clipboard()->setText(cursor.selection().toPlainText());
            cursor.removeSelectedText();
        }
    } else if (event->matches(QKeySequence::Paste)) {
        const QString text = QApplication::clipboard()->text();
        if (!text.isEmpty())
            cursor.insertText(text);
    } else if (event->matches(QKeySequence::Undo)) {
        doc->undo(&cursor);
    } else if (event->matches(QKeySequence::Redo)) {
        doc->redo(&cursor);
    } else if (event->matches(QKeySequence::DeleteEndOfWord)) {
        if (!cursor.hasSelection())
            cursor.movePosition(QTextCursor::NextWord, QTextCursor::KeepAnchor);
        cursor.removeSelectedText();
    } else if (event->matches(QKeySequence::DeleteStartOfWord)) {
        if (!cursor.hasSelection())
            cursor.movePosition(QTextCursor::PreviousWord, QTextCursor::KeepAnchor);
        cursor.removeSelectedText();
    } else if (event->key() == Qt::Key_Backspace && !(event->modifiers() & ~Qt::ShiftModifier)) {
        cursor.deletePreviousChar();
    } else if (event->matches(QKeySequence::Delete)) {
        cursor.deleteChar();
    } else if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        cursor.insertBlock();
    } else {
        const QString text = event->text();
        // Printable characters only; control and command combinations are not text.
        if (text.isEmpty() || !text.at(0).isPrint()
            || (event->modifiers() & (Qt::ControlModifier | Qt::MetaModifier)))
            return false;
        cursor.insertText(text);
    }
    cursorMoved();
    return true;
}

void VellTextControl::mousePress(int position, Qt::KeyboardModifiers modifiers)
{
    if (!(flags & Qt::TextSelectableByMouse) || position < 0)
        return;
    cursor.setPosition(position, modifiers & Qt::ShiftModifier ? QTextCursor::KeepAnchor
                                                               : QTextCursor::MoveAnchor);
    dragging = true;
    cursorMoved();
}

void VellTextControl::mouseMove(int position)
{
    if (!dragging || position < 0)
        return;
    cursor.setPosition(position, QTextCursor::KeepAnchor);
    cursorMoved();
}

void VellTextControl::mouseRelease(int position)
{
    mouseMove(position);
    dragging = false;
}

void VellTextControl::mouseDoubleClick(int position)
{
    if (!(flags & Qt::TextSelectableByMouse) || position < 0)
        return;
    cursor.setPosition(position);
    cursor.select(QTextCursor::WordUnderCursor);
    dragging = false;
    cursorMoved();
}
