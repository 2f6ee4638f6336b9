#ifndef VELLTEXTCONTROL_H
#define VELLTEXTCONTROL_H

#include <QBasicTimer>
#include <QObject>
#include <QTextCursor>

class QKeyEvent;
class QTextDocument;

// Edits a rich-text document the way a text field does: typing, deleting,
// cursor moves by character, word, line and document, keyboard and mouse
// selection, word selection on a double click, the clipboard, undo and redo,
// and a blinking cursor. It knows nothing of where the text is drawn: mouse
// positions arrive as document positions (the text layer maps window points
// through its layout), and every change of what should be shown is announced
// by updateRequest().
//
// With vertical on, the text is read as columns (one per paragraph) of
// characters from top to bottom, so Up and Down step through characters and
// Left and Right through paragraphs.
//
// Does not own the document. GUI thread only.
class VellTextControl : public QObject
{
    Q_OBJECT

public:
    explicit VellTextControl(QTextDocument *document, QObject *parent = nullptr);
    ~VellTextControl() override;
    Q_DISABLE_COPY(VellTextControl)

    QTextDocument *document() const { return doc; }
    QTextCursor textCursor() const { return cursor; }
    void setTextCursor(const QTextCursor &newCursor);

    // Selectable by mouse and keyboard and editable (Qt::TextEditorInteraction),
    // or anything less: without Qt::TextEditable keys only move and select.
    Qt::TextInteractionFlags interactionFlags() const { return flags; }
    void setInteractionFlags(Qt::TextInteractionFlags newFlags) { flags = newFlags; }

    void setVertical(bool on) { vertical = on; }

    // The blinking cursor: on while the control has focus (the text layer is
    // being edited); cursorVisible() is the phase of the blink.
    void setFocus(bool on);
    bool hasFocus() const { return focused; }
    bool cursorVisible() const { return focused && blinkOn; }

    // A key press as a text field takes it; false when it was not used.
    bool keyPress(QKeyEvent *event);
    // Mouse input at document position `position`: a press places the cursor
    // (extending the selection with Shift), a move with the button down
    // extends it, a double click selects the word.
    void mousePress(int position, Qt::KeyboardModifiers modifiers);
    void mouseMove(int position);
    void mouseRelease(int position);
    void mouseDoubleClick(int position);

    // Key presses reach keyPress(); everything else goes to QObject.
    bool event(QEvent *event) override;

signals:
    void textChanged();
    void updateRequest();
    void cursorPositionChanged();

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    bool moveFor(QKeyEvent *event);   // a cursor move or selection key
    void restartBlink();
    void cursorMoved();

    QTextDocument *doc = nullptr;   // not owned
    QTextCursor cursor;
    Qt::TextInteractionFlags flags = Qt::TextEditorInteraction;
    QBasicTimer blinkTimer;
    bool blinkOn = true;
    bool focused = false;
    bool vertical = false;
    bool dragging = false;
};

#endif // VELLTEXTCONTROL_H
