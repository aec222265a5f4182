#pragma once

#include <QImage>
#include <QProcessEnvironment>
#include <QString>
#include <QTemporaryDir>

#include <memory>

namespace TestSupport {

// `maim` and `slop` first on PATH, for a program that picks its selection tool by name: the region "selected" is
// the image the test chose, without a person to drag it; with none set, the selection reads as cancelled. Each run
// is counted.
class StandInCaptureTool {
public:
    [[nodiscard]] static std::unique_ptr<StandInCaptureTool> create();
    StandInCaptureTool(const StandInCaptureTool &) = delete;
    StandInCaptureTool &operator=(const StandInCaptureTool &) = delete;

    // This process's environment with the tools' folder first on PATH.
    QProcessEnvironment environment() const;
    QString folder() const { return m_directory.path(); }
    [[nodiscard]] bool setImage(const QImage &image);
    int runs() const;

private:
    StandInCaptureTool() = default;
    QTemporaryDir m_directory;
};

} // namespace TestSupport
