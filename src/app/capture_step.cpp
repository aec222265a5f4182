#include "app/capture_step.h"

#include "app/diagnostics.h"
#include "platform/captured_image.h"
#include "platform/process_region_capture_tool.h"
#include "platform/region_capture_tool.h"
#include "platform/url_opener.h"

#include <QFile>
#include <QFileInfo>
#include <QFuture>
#include <QMessageBox>
#include <QPushButton>
#include <QUrl>
#include <QtConcurrent/QtConcurrentRun>

#include <utility>

CaptureStep::CaptureStep(Platform::RegionCaptureTool *tool, Platform::UrlOpener &urlOpener,
                         Platform::DisplayServer displayServer, QString tmpDir, QObject *parent)
    : QObject(parent), m_tool(tool), m_urlOpener(urlOpener), m_displayServer(displayServer), m_tmpDir(std::move(tmpDir))
{}

bool CaptureStep::ensureScreenCaptureAccess()
{
    if (m_tool)
        return true;
    const QString packages = Platform::captureToolPackages(m_displayServer);
    const QString installLine =
        QStringLiteral("Scrivlet selects screen regions with %1: install it with \"sudo apt install %1\".")
            .arg(packages);
    printLine(installLine);

    QMessageBox alert;
    alert.setIcon(QMessageBox::Warning);
    alert.setWindowTitle(QStringLiteral("Scrivlet"));
    alert.setText(QStringLiteral("Screen Recording Access"));
    alert.setInformativeText(QStringLiteral("Scrivlet needs your permission to capture screen recording.\n\n Please "
                                            "go to System Settings to give Scrivlet Screen Recording permission") +
                             QStringLiteral("\n\n") + installLine);
    QPushButton *give = alert.addButton(QStringLiteral("Give Permission"), QMessageBox::AcceptRole);
    alert.addButton(QStringLiteral("Cancel"), QMessageBox::RejectRole);
    alert.setDefaultButton(give);
    alert.exec();
    if (alert.clickedButton() == give)
        m_urlOpener.open(QUrl(QStringLiteral("appstream://%1").arg(packages.section(QLatin1Char(' '), 0, 0))));
    return false;
}

void CaptureStep::run(std::function<void(const QImage &)> onImage)
{
    if (!ensureScreenCaptureAccess())
        return;
    if (m_tmpDir.isEmpty()) {
        printLine(QStringLiteral("no private directory for captures"));
        return;
    }
    const QString path = captureFilePath();
    QFile previous(path);
    if (!previous.remove())
        printLine(QStringLiteral("\"%1\" couldn't be removed: %2")
                      .arg(QLatin1String(captureFileName), previous.errorString()));

    m_tool->captureRegion(path);

    const QFileInfo saved(path);
    // Some tools exit successfully on cancel; only an image file counts as a selection.
    if (!saved.exists() || saved.size() == 0)
        return;
    QtConcurrent::run(Platform::loadCapturedImage, path)
        .then(this, [onImage = std::move(onImage)](const std::optional<QImage> &image) {
            if (!image) {
                printLine(QStringLiteral("can't convert image"));
                return;
            }
            onImage(*image);
        });
}
