#include "history/vellselectionedithistory.h"

#include "canvas/vellcanvas.h"
#include "document/vellcontext.h"
#include "history/vellhistory.h"
#include "history/vellhistorymemo.h"

VellSelectionEditHistory::VellSelectionEditHistory(VellContext *document, QObject *parent)
    : QObject(parent), document(document)
{
}

VellSelectionEditHistory::~VellSelectionEditHistory()
{
    qDeleteAll(memos);
}

void VellSelectionEditHistory::pushNewMemo(VellHistoryMemo *memo)
{
    if (!memo)
        return;
    while (memos.size() > index + 1)
        delete memos.takeLast();
    memos.append(memo);
    ++index;
    emit historyChanged();
    if (document)
        document->getHistory()->updateAction();
}

void VellSelectionEditHistory::undo()
{
    if (index >= 0 && index < memos.size()) {
        memos.at(index)->undo();
        --index;
    }
    announce();
}

void VellSelectionEditHistory::redo()
{
    if (index + 1 < memos.size()) {
        memos.at(index + 1)->undo();
        ++index;
    }
    announce();
}

void VellSelectionEditHistory::clear()
{
    qDeleteAll(memos);
    memos.clear();
    index = -1;
}

void VellSelectionEditHistory::announce()
{
    emit historyChanged();
    if (!document)
        return;
    document->getHistory()->updateAction();
    if (VellCanvas *canvas = VellCanvas::getInstance()) {
        canvas->Render(document);
        canvas->update();
    }
}
