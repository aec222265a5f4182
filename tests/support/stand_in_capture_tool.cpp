#include "support/stand_in_capture_tool.h"

#include <QFile>

namespace TestSupport {
namespace {

bool writeScript(const QString &path, const QByteArray &text)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size() &&
           file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

} // namespace

std::unique_ptr<StandInCaptureTool> StandInCaptureTool::create()
{
    std::unique_ptr<StandInCaptureTool> tool(new StandInCaptureTool);
    if (!tool->m_directory.isValid())
        return nullptr;
    const QByteArray folder = QFile::encodeName(tool->m_directory.path());
    // maim's last argument is the destination; a failed copy leaves none, as a cancelled selection does.
    const QByteArray maim = "#!/bin/sh\n"
                            "echo \"$*\" >> '" +
                            folder +
                            "/runs'\n"
                            "for destination; do :; done\n"
                            "exec cp '" +
                            folder + "/selection.png' \"$destination\" 2>/dev/null\n";
    if (!writeScript(tool->m_directory.filePath(QStringLiteral("maim")), maim) ||
        !writeScript(tool->m_directory.filePath(QStringLiteral("slop")), "#!/bin/sh\nexit 1\n"))
        return nullptr;
    return tool;
}

QProcessEnvironment StandInCaptureTool::environment() const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("PATH"),
                       m_directory.path() + QLatin1Char(':') + environment.value(QStringLiteral("PATH")));
    return environment;
}

bool StandInCaptureTool::setImage(const QImage &image)
{
    return image.save(m_directory.filePath(QStringLiteral("selection.png")), "PNG");
}

int StandInCaptureTool::runs() const
{
    QFile file(m_directory.filePath(QStringLiteral("runs")));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    return static_cast<int>(file.readAll().count('\n'));
}

} // namespace TestSupport
