#include "app/capture_step.h"

#include "app/diagnostics.h"
#include "platform/captured_image.h"
#include "platform/clipboard.h"
#include "platform/private_directory.h"
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
                         Platform::Clipboard *clipboard, QString toolPackages, QString tmpDir, QObject *parent)
    : QObject(parent), m_tool(tool), m_urlOpener(urlOpener), m_clipboard(clipboard),
      m_toolPackages(std::move(toolPackages)), m_tmpDir(std::move(tmpDir))
{}

bool CaptureStep::ensureScreenCaptureAccess()
{
    if (m_tool && m_tool->isAvailable())
        return true;
    const QString &packages = m_toolPackages;
    const QString command = QStringLiteral("sudo apt install %1").arg(packages);
    printLine(
        QStringLiteral("Scrivlet selects screen regions with %1: install it with \"%2\".").arg(packages, command));
    // Software centres take the package by its name; without one, the command is what helps.
    const QUrl softwareCentre(QStringLiteral("appstream://%1").arg(packages.section(QLatin1Char(' '), 0, 0)));
    const bool canOpenSoftwareCentre = m_urlOpener.canOpen(softwareCentre);

    QMessageBox alert;
    alert.setIcon(QMessageBox::Warning);
    alert.setWindowTitle(QStringLiteral("Scrivlet"));
    alert.setText(QStringLiteral("Screen Recording Access"));
    alert.setInformativeText(
        QStringLiteral("Scrivlet needs your permission to capture screen recording.\n\n Please "
                       "go to System Settings to give Scrivlet Screen Recording permission") +
        QStringLiteral("\n\nScrivlet selects screen regions with %1. Install it with:\n\n%2").arg(packages, command) +
        (canOpenSoftwareCentre || !m_clipboard ? QString()
                                               : QStringLiteral("\n\nGive Permission copies this command.")));
    alert.setTextInteractionFlags(Qt::TextSelectableByMouse);
    QPushButton *give = alert.addButton(QStringLiteral("Give Permission"), QMessageBox::AcceptRole);
    alert.addButton(QStringLiteral("Cancel"), QMessageBox::RejectRole);
    alert.setDefaultButton(give);
    alert.exec();
    if (alert.clickedButton() == give) {
        if (canOpenSoftwareCentre)
            m_urlOpener.open(softwareCentre);
        else if (m_clipboard)
            m_clipboard->setText(command);
    }
    return false;
}

bool CaptureStep::run(std::function<void(const QImage &)> onImage)
{
    if (m_capturing) {
        printLine(QStringLiteral("a capture is already in progress"));
        return false;
    }
    m_capturing = true;
    const auto done = qScopeGuard([this] { m_capturing = false; });

    if (!ensureScreenCaptureAccess())
        return true;
    if (m_tmpDir.isEmpty()) {
        Q_EMIT failed(QStringLiteral("Scrivlet has no private folder for captures"));
        return true;
    }
    // Checked at every capture: the folder must still be ours before the tool writes the screen into it.
    if (const std::optional<QString> problem = Platform::privateDirectoryProblem(m_tmpDir)) {
        Q_EMIT failed(*problem);
        return true;
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
        return true;
    QtConcurrent::run(Platform::loadCapturedImage, path)
        .then(this,
              [this, onImage = std::move(onImage)](const std::variant<QImage, Platform::CapturedImageError> &loaded) {
                  if (const auto *image = std::get_if<QImage>(&loaded)) {
                      onImage(*image);
                      return;
                  }
                  printLine(QStringLiteral("can't convert image"));
                  if (std::get<Platform::CapturedImageError>(loaded) == Platform::CapturedImageError::tooLarge)
                      Q_EMIT failed(QStringLiteral("The region is too large: select a smaller one"));
                  else
                      Q_EMIT failed(QStringLiteral("The capture could not be read: try again"));
              });
    return true;
}
