#include "tools/vellinternational.h"

#include "tools/velltoolmanager.h"

#include <QCoreApplication>
#include <QTranslator>

#include <memory>

namespace {

std::unique_ptr<QTranslator> loadTranslator(const QString &fileName)
{
    auto translator = std::make_unique<QTranslator>();
    if (!translator->load(fileName, QString(), QString(), QString()))
        return nullptr;
    return translator;
}

} // namespace

QTranslator *setInternational()
{
    const QString code = VellToolManager::languageCode();
    std::unique_ptr<QTranslator> translator =
        loadTranslator(QStringLiteral(":/Resources/vellcore_") + code + QStringLiteral(".qm"));
    if (!translator || !QCoreApplication::installTranslator(translator.get()))
        return nullptr;
    // Installed for the life of the application, which deletes it.
    translator->setParent(QCoreApplication::instance());
    return translator.release();
}

QTranslator *getTranslater(QString fileName)
{
    return loadTranslator(fileName).release();
}
