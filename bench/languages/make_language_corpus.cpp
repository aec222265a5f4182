// Renders the multilingual screen-capture corpus from the translated messages a Debian system already has
// (/usr/share/locale/*/LC_MESSAGES/*.mo): UI strings and sentences in German, French, Spanish and Russian, and their
// English originals, at screen sizes, in the shared manifest format. The choice and the drawing are fixed by a
// seed, so that the same system gives the same corpus.
#include <QDir>
#include <QFile>
#include <QFont>
#include <QFontMetrics>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QRegularExpression>
#include <QtEndian>

#include <algorithm>
#include <cstdio>
#include <map>
#include <random>
#include <vector>

namespace {

struct Message {
    QString original;
    QString translation;
};

// The pairs of a GNU gettext catalogue; none when the file is not one.
std::vector<Message> readCatalogue(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || file.size() > (64 << 20))
        return {};
    const QByteArray data = file.readAll();
    if (data.size() < 28)
        return {};
    const auto u32 = [&data](qsizetype at, bool swapped) -> std::optional<quint32> {
        if (at < 0 || at + 4 > data.size())
            return std::nullopt;
        const quint32 value = qFromLittleEndian<quint32>(data.constData() + at);
        return swapped ? qbswap(value) : value;
    };
    const bool swapped = *u32(0, false) != 0x950412de;
    if (swapped && *u32(0, true) != 0x950412de)
        return {};
    const quint32 count = u32(8, swapped).value_or(0);
    const quint32 originals = u32(12, swapped).value_or(0);
    const quint32 translations = u32(16, swapped).value_or(0);
    const auto string = [&](quint32 table, quint32 index) -> std::optional<QString> {
        const auto length = u32(qsizetype(table) + 8 * qsizetype(index), swapped);
        const auto offset = u32(qsizetype(table) + 8 * qsizetype(index) + 4, swapped);
        if (!length || !offset || qsizetype(*offset) + *length > data.size())
            return std::nullopt;
        return QString::fromUtf8(data.constData() + *offset, *length);
    };
    std::vector<Message> messages;
    for (quint32 i = 0; i < count && i < 200000; ++i) {
        const auto original = string(originals, i);
        const auto translation = string(translations, i);
        if (original && translation)
            messages.push_back({*original, *translation});
    }
    return messages;
}

// A plain sentence or label as a dialog would show it: no placeholders, markup, mnemonics or line breaks.
bool isScreenText(const QString &text)
{
    static const QRegularExpression unwanted(QStringLiteral(R"([%{}<>\\_&|@#$^*=~`\[\]\t\n\r"]|\.\.\.|\s{2})"));
    const int words = int(text.split(u' ', Qt::SkipEmptyParts).size());
    return text.size() >= 20 && text.size() <= 70 && words >= 4 && !text.contains(unwanted) && text == text.trimmed() &&
           text.at(0).isUpper();
}

struct Language {
    QString code;   // Tesseract's model name
    QString locale; // the folder under /usr/share/locale
};

const std::vector<Language> languages{{QStringLiteral("deu"), QStringLiteral("de")},
                                      {QStringLiteral("fra"), QStringLiteral("fr")},
                                      {QStringLiteral("spa"), QStringLiteral("es")},
                                      {QStringLiteral("rus"), QStringLiteral("ru")}};

// Translated sentences of the locale, each with its English original, in a fixed order.
std::vector<Message> sentences(const QString &locale)
{
    const QDir folder(QStringLiteral("/usr/share/locale/%1/LC_MESSAGES").arg(locale));
    std::map<QString, Message> unique; // by original, so that every catalogue's copy counts once
    for (const QString &file : folder.entryList({QStringLiteral("*.mo")}, QDir::Files, QDir::Name)) {
        for (Message &message : readCatalogue(folder.filePath(file))) {
            if (message.original.contains(QChar(0)) || message.translation.contains(QChar(0)))
                continue; // plural forms
            if (isScreenText(message.original) && isScreenText(message.translation))
                unique.try_emplace(message.original, std::move(message));
        }
    }
    std::vector<Message> result;
    for (auto &[original, message] : unique)
        result.push_back(std::move(message));
    return result;
}

struct Style {
    QString font;
    int pixelSize;
    int scale;
    bool dark;
};

QImage render(const QStringList &lines, const Style &style)
{
    QFont font(style.font);
    font.setPixelSize(style.pixelSize * style.scale);
    const QFontMetrics metrics(font);
    const int margin = 10 * style.scale;
    const int lineHeight = int(metrics.height() * 1.35);
    int width = 0;
    for (const QString &line : lines)
        width = std::max(width, metrics.horizontalAdvance(line));
    QImage image(width + 2 * margin, int(lines.size()) * lineHeight + 2 * margin, QImage::Format_RGB32);
    image.fill(style.dark ? QColor(0x2b, 0x2b, 0x2b) : QColor(0xfb, 0xfb, 0xfb));
    QPainter painter(&image);
    painter.setRenderHint(QPainter::TextAntialiasing);
    painter.setFont(font);
    painter.setPen(style.dark ? QColor(0xe6, 0xe6, 0xe6) : QColor(0x1e, 0x1e, 0x1e));
    for (int i = 0; i < lines.size(); ++i)
        painter.drawText(margin, margin + i * lineHeight + metrics.ascent(), lines[i]);
    return image;
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() != 2 && args.size() != 3) {
        std::fprintf(stderr, "usage: scrivlet-language-corpus OUTDIR [CAPTURES_PER_LANGUAGE]\n");
        return 2;
    }
    const QDir out(args[1]);
    const int perLanguage = args.size() == 3 ? args[2].toInt() : 24;
    if (perLanguage <= 0 || !QDir().mkpath(out.filePath(QStringLiteral("images"))) ||
        !QDir().mkpath(out.filePath(QStringLiteral("gt")))) {
        std::fprintf(stderr, "cannot write into %s\n", qPrintable(args[1]));
        return 1;
    }
    QFile manifest(out.filePath(QStringLiteral("manifest.tsv")));
    if (!manifest.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return 1;
    manifest.write("file\tgt\tlanguage\tfont\tsize\tscale\ttheme\tlines\n");

    std::mt19937 random(20261124);
    const QStringList fonts{QStringLiteral("DejaVu Sans"), QStringLiteral("DejaVu Serif")};
    std::vector<Message> englishPool;
    const auto write = [&](const QString &code, int number, const QStringList &lines, const Style &style) {
        const QString name = QStringLiteral("%1_%2").arg(code).arg(number, 2, 10, QLatin1Char('0'));
        const QString image = QStringLiteral("images/%1.png").arg(name);
        const QString truth = QStringLiteral("gt/%1.txt").arg(name);
        QFile text(out.filePath(truth));
        if (!render(lines, style).save(out.filePath(image)) || !text.open(QIODevice::WriteOnly))
            return false;
        text.write(lines.join(u'\n').toUtf8());
        manifest.write(QStringLiteral("%1\t%2\t%3\t%4\t%5\t%6\t%7\t%8\n")
                           .arg(image, truth, code, style.font)
                           .arg(style.pixelSize)
                           .arg(style.scale)
                           .arg(style.dark ? QStringLiteral("dark") : QStringLiteral("light"))
                           .arg(lines.size())
                           .toUtf8());
        return true;
    };
    const auto styleOf = [&fonts](int number) {
        return Style{fonts[number % 2], 11 + number % 6, 1 + (number / 6) % 2, (number / 3) % 2 == 1};
    };
    const auto take = [&random](std::vector<Message> &pool, qsizetype count) {
        std::vector<Message> taken;
        for (qsizetype i = 0; i < count && !pool.empty(); ++i) {
            std::uniform_int_distribution<size_t> pick(0, pool.size() - 1);
            const size_t at = pick(random);
            taken.push_back(pool[at]);
            pool.erase(pool.begin() + qsizetype(at));
        }
        return taken;
    };

    int written = 0;
    for (const Language &language : languages) {
        std::vector<Message> pool = sentences(language.locale);
        std::printf("%s: %zu sentences to choose from\n", qPrintable(language.code), pool.size());
        for (int number = 0; number < perLanguage; ++number) {
            const std::vector<Message> chosen = take(pool, 1 + number % 4);
            if (chosen.empty())
                break;
            QStringList lines;
            for (const Message &message : chosen) {
                lines << message.translation;
                englishPool.push_back(message);
            }
            written += write(language.code, number, lines, styleOf(number)) ? 1 : 0;
        }
    }
    // English: originals of the messages above, drawn in their own order.
    for (int number = 0; number < perLanguage; ++number) {
        const std::vector<Message> chosen = take(englishPool, 1 + number % 4);
        if (chosen.empty())
            break;
        QStringList lines;
        for (const Message &message : chosen)
            lines << message.original;
        written += write(QStringLiteral("eng"), number, lines, styleOf(number + 1)) ? 1 : 0;
    }
    std::printf("%d captures in %s\n", written, qPrintable(out.path()));
    return written > 0 ? 0 : 1;
}
