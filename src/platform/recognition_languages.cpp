#include "platform/recognition_languages.h"

#include <QDir>
#include <QHash>
#include <QRegularExpression>

#include <algorithm>
#include <vector>

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
    return chosen.isEmpty() ? QStringLiteral("auto:") + desktop : chosen.join(u'+');
}

namespace {

struct LanguageHints {
    QLatin1StringView language;
    QLatin1StringView script;
    QStringList words; // common short words, lower case, also as a model of another language reads them
    QString letters;   // letters only this language, of those listed, uses often
};

const std::vector<LanguageHints> &hints()
{
    using namespace Qt::Literals::StringLiterals;
    static const std::vector<LanguageHints> table{
        {"eng"_L1,
         "Latin"_L1,
         {u"the"_s, u"and"_s, u"of"_s, u"to"_s, u"is"_s, u"not"_s, u"for"_s, u"with"_s, u"this"_s, u"that"_s,
          u"cannot"_s, u"are"_s, u"from"_s, u"or"_s, u"by"_s, u"be"_s, u"an"_s, u"on"_s},
         {}},
        {"deu"_L1,
         "Latin"_L1,
         {u"der"_s, u"die"_s, u"das"_s,  u"und"_s, u"nicht"_s,  u"ist"_s,   u"mit"_s,    u"für"_s,  u"fur"_s,
          u"von"_s, u"zu"_s,  u"den"_s,  u"ein"_s, u"eine"_s,   u"auf"_s,   u"werden"_s, u"kann"_s, u"im"_s,
          u"des"_s, u"dem"_s, u"wird"_s, u"sie"_s, u"konnte"_s, u"wurde"_s, u"einen"_s,  u"oder"_s},
         u"äöüß"_s},
        {"fra"_L1,
         "Latin"_L1,
         {u"le"_s,   u"les"_s,        u"des"_s, u"du"_s,   u"et"_s, u"est"_s, u"une"_s,  u"pour"_s,  u"pas"_s,
          u"dans"_s, u"sur"_s,        u"ne"_s,  u"vous"_s, u"au"_s, u"aux"_s, u"ce"_s,   u"cette"_s, u"être"_s,
          u"sont"_s, u"impossible"_s, u"un"_s,  u"la"_s,   u"de"_s, u"par"_s, u"lors"_s, u"avec"_s},
         u"èêçœàù"_s},
        {"spa"_L1,
         "Latin"_L1,
         {u"el"_s,  u"los"_s,  u"las"_s,  u"del"_s, u"que"_s, u"y"_s,     u"no"_s, u"se"_s,
          u"una"_s, u"para"_s, u"por"_s,  u"es"_s,  u"con"_s, u"puede"_s, u"al"_s, u"lo"_s,
          u"su"_s,  u"esta"_s, u"este"_s, u"un"_s,  u"la"_s,  u"de"_s,    u"en"_s, u"pudo"_s},
         u"ñ¿¡"_s},
        {"ita"_L1,
         "Latin"_L1,
         {u"il"_s, u"gli"_s, u"della"_s, u"di"_s, u"che"_s, u"non"_s, u"per"_s, u"una"_s, u"con"_s, u"sono"_s,
          u"alla"_s, u"nel"_s, u"impossibile"_s},
         {}},
        {"por"_L1,
         "Latin"_L1,
         {u"os"_s, u"as"_s, u"do"_s, u"da"_s, u"dos"_s, u"não"_s, u"nao"_s, u"uma"_s, u"para"_s, u"com"_s, u"em"_s,
          u"ao"_s, u"foi"_s},
         u"ãõ"_s},
        {"nld"_L1,
         "Latin"_L1,
         {u"het"_s, u"een"_s, u"en"_s, u"niet"_s, u"van"_s, u"is"_s, u"met"_s, u"voor"_s, u"kan"_s, u"worden"_s,
          u"op"_s, u"de"_s},
         {}},
        {"pol"_L1,
         "Latin"_L1,
         {u"nie"_s, u"się"_s, u"sie"_s, u"jest"_s, u"na"_s, u"do"_s, u"z"_s, u"w"_s},
         u"ąęłńśźż"_s},
        {"tur"_L1, "Latin"_L1, {u"bir"_s, u"ve"_s, u"bu"_s, u"için"_s, u"ile"_s, u"değil"_s}, u"ğış"_s},
        {"rus"_L1,
         "Cyrillic"_L1,
         {u"и"_s, u"в"_s, u"не"_s, u"на"_s, u"с"_s, u"для"_s, u"что"_s, u"по"_s, u"из"_s, u"к"_s, u"от"_s, u"как"_s,
          u"это"_s, u"или"_s, u"удалось"_s},
         u"ыэъё"_s},
        {"ukr"_L1,
         "Cyrillic"_L1,
         {u"і"_s, u"в"_s, u"не"_s, u"на"_s, u"з"_s, u"для"_s, u"що"_s, u"по"_s, u"до"_s, u"від"_s, u"це"_s, u"або"_s,
          u"вдалося"_s},
         u"іїєґ"_s},
        {"bul"_L1, "Cyrillic"_L1, {u"и"_s, u"в"_s, u"не"_s, u"на"_s, u"за"_s, u"от"_s, u"се"_s}, {}},
        {"srp"_L1, "Cyrillic"_L1, {u"и"_s, u"у"_s, u"не"_s, u"на"_s, u"за"_s, u"је"_s}, u"љњћђџ"_s},
        {"ell"_L1, "Greek"_L1, {u"και"_s, u"το"_s, u"να"_s, u"δεν"_s, u"για"_s}, {}},
    };
    return table;
}

const LanguageHints *hintsFor(QStringView language)
{
    for (const LanguageHints &entry : hints()) {
        if (language == entry.language)
            return &entry;
    }
    return nullptr;
}

} // namespace

QString scriptOf(QStringView language)
{
    if (language.startsWith(u"script/"))
        return language.mid(7).toString();
    const LanguageHints *entry = hintsFor(language);
    return entry ? QString(entry->script) : QString();
}

std::optional<QString> identifyLanguage(QStringView text, const QStringList &candidates)
{
    static const QRegularExpression notLetters(QStringLiteral("[^\\p{L}]+"));
    const QString lower = text.toString().toLower();
    const QStringList words = lower.split(notLetters, Qt::SkipEmptyParts);
    std::vector<int> scores(size_t(candidates.size()), 0);
    for (qsizetype i = 0; i < candidates.size(); ++i) {
        const LanguageHints *entry = hintsFor(candidates[i]);
        if (!entry)
            continue;
        for (const QString &word : words)
            scores[size_t(i)] += entry->words.contains(word) ? 1 : 0;
        for (const QChar letter : entry->letters)
            scores[size_t(i)] += std::min(int(lower.count(letter)), 3);
    }
    const auto best = std::max_element(scores.begin(), scores.end());
    if (best == scores.end())
        return std::nullopt;
    int second = 0;
    for (auto score = scores.begin(); score != scores.end(); ++score) {
        if (score != best)
            second = std::max(second, *score);
    }
    // Names, addresses and code hold a stray "de" or "se": a language takes a share of the words and a lead.
    const int enough = std::max(2, int(words.size() / 8));
    if (*best < enough || (*best - second < 2 && second > 0))
        return std::nullopt;
    return candidates[best - scores.begin()];
}

} // namespace Platform
