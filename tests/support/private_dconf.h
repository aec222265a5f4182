#pragma once

#include "support/private_session_bus.h"
#include "support/scoped_environment.h"

#include <QStringList>
#include <QTemporaryDir>

#include <memory>
#include <optional>

namespace TestSupport {

// GSettings on a dconf of the test's own: the named schema files are copied from the machine's and compiled into a
// temporary data folder, XDG_DATA_DIRS, XDG_CONFIG_HOME, XDG_RUNTIME_DIR and GSETTINGS_BACKEND point into it (with
// whatever more the test sets), and a private session bus starts dconf-service on demand. GLib reads these
// folders once, so start it before GLib's first use; the environment is put back when it goes.
class PrivateDconf {
public:
    [[nodiscard]] static std::unique_ptr<PrivateDconf> start(const QStringList &schemaFiles,
                                                             ScopedEnvironment::Values moreEnvironment = {});
    ~PrivateDconf();
    PrivateDconf(const PrivateDconf &) = delete;
    PrivateDconf &operator=(const PrivateDconf &) = delete;

    // Every key back to its default.
    [[nodiscard]] bool reset() const;

private:
    PrivateDconf() = default;
    QTemporaryDir m_root;
    std::optional<ScopedEnvironment> m_environment;
    std::unique_ptr<PrivateSessionBus> m_bus;
};

} // namespace TestSupport
