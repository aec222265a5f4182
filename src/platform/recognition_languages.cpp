#include "platform/recognition_languages.h"

#include <QDir>

namespace Platform {
namespace {

const QString english = QStringLiteral("eng");
const QString suffix = QStringLiteral(".traineddata");

QStringList modelsIn(const QString &folder, const QString &prefix)
{
    QStringList models;
    const QStringList files = QDir(folder).entryList({QStringLiteral("*") + suffix}, QDir::Files | QDir::Readable);
    for (const QString &file : files) {
        const QString name = file.chopped(suffix.size());
        if (name != u"osd" && name != u"equ")
            models << prefix + name;
    }
    return models;
}

// ISO 15924 codes of the script models, as Debian names their packages.
QString scriptCode(QStringView script)
{
    static const QHash<QString, QString> codes{
        {QStringLiteral("Arabic"), QStringLiteral("arab")},     {QStringLiteral("Cyrillic"), QStringLiteral("cyrl")},
        {QStringLiteral("Devanagari"), QStringLiteral("deva")}, {QStringLiteral("Greek"), QStringLiteral("grek")},
        {QStringLiteral("HanS"), QStringLiteral("hans")},       {QStringLiteral("HanT"), QStringLiteral("hant")},
        {QStringLiteral("Hebrew"), QStringLiteral("hebr")},     {QStringLiteral("Japanese"), QStringLiteral("jpan")},
        {QStringLiteral("Latin"), QStringLiteral("latn")},
    };
    return codes.value(script.toString(), script.toString().toLower());
}

} // namespace

QStringList installedLanguages(const QString &modelFolder)
{
    QStringList languages =
        modelsIn(modelFolder, {}) + modelsIn(modelFolder + QStringLiteral("/script"), QStringLiteral("script/"));
    languages.sort();
    return languages;
}

QString debianPackage(QStringView language)
{
    if (language.startsWith(u"script/"))
        return QStringLiteral("tesseract-ocr-script-") + scriptCode(language.mid(7));
    return QStringLiteral("tesseract-ocr-") + language.toString().toLower().replace(u'_', u'-');
}

QString languageName(QStringView language)
{
    const QLocale::Language found = QLocale::codeToLanguage(language, QLocale::ISO639Part2);
    return found == QLocale::AnyLanguage ? language.toString() : QLocale::languageToString(found);
}

QString desktopLanguage(const QLocale &locale)
{
    const QString code = QLocale::languageToCode(locale.language(), QLocale::ISO639Part2T);
    return code.isEmpty() || locale.language() == QLocale::C ? english : code;
}

QString chooseLanguages(const QStringList &choice, const QStringList &installed, const QString &desktop)
{
    QStringList chosen;
    for (const QString &language : choice) {
        if (installed.contains(language) && !chosen.contains(language))
            chosen << language;
    }
    if (chosen.isEmpty()) {
        if (installed.contains(desktop))
            chosen << desktop;
        if (installed.contains(english) && !chosen.contains(english))
            chosen << english;
    }
    return chosen.isEmpty() ? english : chosen.join(u'+');
}

} // namespace Platform
