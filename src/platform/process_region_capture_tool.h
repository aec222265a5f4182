#pragma once

#include "platform/desktop_session.h"
#include "platform/region_capture_tool.h"

#include <QString>
#include <QStringList>

#include <chrono>
#include <functional>
#include <optional>

namespace Platform {

// How to start one capture tool. "%f" in an argument stands for the destination file.
struct CaptureToolCommand {
    QString program;
    QStringList arguments;
    bool writesImageToStandardOutput = false;

    friend bool operator==(const CaptureToolCommand &, const CaptureToolCommand &) = default;
};

// The first region tool of the session's preference list whose programs are all installed.
std::optional<CaptureToolCommand> findCaptureTool(DisplayServer,
                                                  const std::function<bool(const QString &)> &isInstalled);

// Runs a capture tool as a child process.
class ProcessRegionCaptureTool final : public RegionCaptureTool {
public:
    // Always runs this command.
    explicit ProcessRegionCaptureTool(CaptureToolCommand command);
    // Looks for the session's preferred tool at every capture, so that one installed after the program
    // started is used at once.
    explicit ProcessRegionCaptureTool(DisplayServer server);

    bool isAvailable() const override;
    void captureRegion(const QString &destination) override;

    // A tool that hangs (slop can spin forever on an odd event sequence) must not hang Scrivlet with it.
    static constexpr std::chrono::minutes timeLimit{10};

private:
    std::function<std::optional<CaptureToolCommand>()> m_find;
};

} // namespace Platform
