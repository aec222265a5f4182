// Renders the scalable icon at the fixed sizes of the hicolor theme, for desktops that do not draw SVG icons.
// Usage: scrivlet-render-icon ICON.svg OUTDIR SIZE...  (writes OUTDIR/SIZExSIZE/apps/scrivlet.png)
#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>

#include <cstdio>

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const QStringList args = app.arguments();
    QSvgRenderer icon(args.value(1));
    if (args.size() < 4 || !icon.isValid()) {
        std::fprintf(stderr, "usage: scrivlet-render-icon ICON.svg OUTDIR SIZE...\n");
        return 2;
    }
    for (const QString &argument : args.mid(3)) {
        const int size = argument.toInt();
        const QString folder = QStringLiteral("%1/%2x%2/apps").arg(args[2]).arg(size);
        if (size <= 0 || !QDir().mkpath(folder))
            return 1;
        QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        icon.render(&painter);
        painter.end();
        if (!image.save(folder + QStringLiteral("/scrivlet.png")))
            return 1;
    }
    return 0;
}
