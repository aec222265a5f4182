#include "app/grab_command.h"

#include <QFileInfo>
#include <QStandardPaths>

KeyboardShortcuts::DesktopCommand grabCommand(const QString &programPath)
{
    return {QStringLiteral("Scrivlet: Grab Text"), {programPath, QStringLiteral("scrivlet:///_Grab_")}};
}

QString shownCommandLine(KeyboardShortcuts::DesktopCommand command)
{
    if (command.arguments.isEmpty())
        return {};
    const QFileInfo program(command.arguments.front());
    const QFileInfo found(QStandardPaths::findExecutable(program.fileName()));
    // Compared as files: a link on PATH to the program, or the program reached through a linked folder, is it.
    if (program.isAbsolute() && found.exists() && found.canonicalFilePath() == program.canonicalFilePath())
        command.arguments.front() = program.fileName();
    return command.commandLine();
}
