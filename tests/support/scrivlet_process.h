#pragma once

#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <chrono>

namespace TestSupport {

// The built program (SCRIVLET_BINARY_DIR/src/app/scrivlet), started as a desktop starts it; what it prints on
// standard output is kept for the test, its errors go to the test's own. Ended when dropped.
class ScrivletProcess {
public:
    explicit ScrivletProcess(const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment(),
                             const QStringList &arguments = {});
    ~ScrivletProcess();
    ScrivletProcess(const ScrivletProcess &) = delete;
    ScrivletProcess &operator=(const ScrivletProcess &) = delete;

    static QString program();
    QProcess &process() { return m_process; }
    // Waits until the program has printed the text somewhere on standard output.
    [[nodiscard]] bool waitForOutput(const QString &text, std::chrono::milliseconds timeout);
    QString output();

private:
    QProcess m_process;
    QString m_output;
};

} // namespace TestSupport
