#include "platform/process_region_capture_tool.h"

#include <QEventLoop>
#include <QLoggingCategory>
#include <QProcess>
#include <QStandardPaths>
#include <QTimer>

#include <algorithm>
#include <utility>

Q_LOGGING_CATEGORY(lcCapture, "scrivlet.capture")

namespace Platform {
namespace {

struct Candidate {
    QStringList requiredPrograms;
    CaptureToolCommand command;
};

QList<Candidate> candidatesFor(DisplayServer server)
{
    const QString file = QStringLiteral("%f");
    if (server == DisplayServer::wayland) {
        return {
            {{QStringLiteral("grim"), QStringLiteral("slurp")},
             {QStringLiteral("sh"),
              {QStringLiteral("-c"), QStringLiteral(R"(region=$(slurp) && exec grim -g "$region" "$1")"),
               QStringLiteral("sh"), file}}},
        };
    }
    return {
        {{QStringLiteral("maim"), QStringLiteral("slop")},
         {QStringLiteral("maim"), {QStringLiteral("-s"), QStringLiteral("-u"), file}}},
        // flameshot writes the PNG to standard output and nothing on cancel.
        {{QStringLiteral("flameshot")},
         {QStringLiteral("flameshot"),
          {QStringLiteral("gui"), QStringLiteral("--raw"), QStringLiteral("--accept-on-select")},
          true}},
        {{QStringLiteral("gnome-screenshot")},
         {QStringLiteral("gnome-screenshot"), {QStringLiteral("-a"), QStringLiteral("-f"), file}}},
        {{QStringLiteral("scrot")}, {QStringLiteral("scrot"), {QStringLiteral("-s"), QStringLiteral("-o"), file}}},
    };
}

} // namespace

std::optional<CaptureToolCommand> findCaptureTool(DisplayServer server,
                                                  const std::function<bool(const QString &)> &isInstalled)
{
    for (const Candidate &candidate : candidatesFor(server)) {
        if (std::all_of(candidate.requiredPrograms.begin(), candidate.requiredPrograms.end(), isInstalled))
            return candidate.command;
    }
    return std::nullopt;
}

ProcessRegionCaptureTool::ProcessRegionCaptureTool(CaptureToolCommand command)
    : m_find([command = std::move(command)] { return std::optional(command); })
{}

ProcessRegionCaptureTool::ProcessRegionCaptureTool(DisplayServer server)
    : m_find([server] {
          return findCaptureTool(
              server, [](const QString &program) { return !QStandardPaths::findExecutable(program).isEmpty(); });
      })
{}

bool ProcessRegionCaptureTool::isAvailable() const
{
    return m_find().has_value();
}

void ProcessRegionCaptureTool::captureRegion(const QString &destination)
{
    const std::optional<CaptureToolCommand> command = m_find();
    if (!command) {
        qCWarning(lcCapture) << "no screen selection tool is installed";
        return;
    }
    QStringList arguments;
    for (const QString &argument : std::as_const(command->arguments))
        arguments.append(argument == u"%f" ? destination : argument);

    QProcess process;
    process.setProgram(command->program);
    process.setArguments(arguments);
    process.setStandardInputFile(QProcess::nullDevice());
    if (command->writesImageToStandardOutput)
        process.setStandardOutputFile(destination, QIODevice::Truncate);
    else
        process.setStandardOutputFile(QProcess::nullDevice());
    // Read here rather than handed on: with our own standard error a broken pipe (a launcher that went away),
    // the tool would die on its first message.
    process.setProcessChannelMode(QProcess::SeparateChannels);

    QEventLoop loop;
    QObject::connect(&process, &QProcess::finished, &loop, &QEventLoop::quit);
    QObject::connect(&process, &QProcess::errorOccurred, &loop, [&](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            loop.quit();
    });
    QTimer limit;
    limit.setSingleShot(true);
    QObject::connect(&limit, &QTimer::timeout, &loop, [&] {
        qCWarning(lcCapture) << command->program << "did not finish in time; stopping it";
        process.kill();
    });

    process.start();
    if (process.state() == QProcess::NotRunning && process.error() == QProcess::FailedToStart) {
        qCWarning(lcCapture) << "cannot start" << command->program << process.errorString();
        return;
    }
    limit.start(timeLimit);
    // Input stays queued until the tool is done: the selection belongs to the tool, and a second capture
    // must not start inside this one.
    loop.exec(QEventLoop::ExcludeUserInputEvents);
    if (process.state() != QProcess::NotRunning) {
        process.kill();
        process.waitForFinished(1000);
    }
    if (const QByteArray messages = process.readAllStandardError().trimmed(); !messages.isEmpty())
        qCInfo(lcCapture).noquote() << command->program << "says:" << QString::fromLocal8Bit(messages);
}

} // namespace Platform
