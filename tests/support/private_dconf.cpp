#include "support/private_dconf.h"

#include "support/desktop_tools.h"

#include <QDir>
#include <QFile>

using namespace Qt::Literals::StringLiterals;

namespace TestSupport {

std::unique_ptr<PrivateDconf> PrivateDconf::start(const QStringList &schemaFiles,
                                                  ScopedEnvironment::Values moreEnvironment)
{
    std::unique_ptr<PrivateDconf> dconf(new PrivateDconf);
    const QTemporaryDir &root = dconf->m_root;
    const QString schemas = root.filePath(u"data/glib-2.0/schemas"_s);
    if (!root.isValid() || !QDir().mkpath(schemas) || !QDir().mkpath(root.filePath(u"config"_s)) ||
        !QDir().mkpath(root.filePath(u"runtime"_s)) ||
        !QFile::setPermissions(root.filePath(u"runtime"_s), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner)) {
        qWarning("cannot make the folders of a private dconf");
        return nullptr;
    }
    for (const QString &file : schemaFiles) {
        if (!QFile::copy(u"/usr/share/glib-2.0/schemas/"_s + file, schemas + u'/' + file)) {
            qWarning().noquote() << "schema not installed:" << file;
            return nullptr;
        }
    }
    if (runCommand(u"glib-compile-schemas"_s, {schemas}).exitCode != 0) {
        qWarning("glib-compile-schemas failed");
        return nullptr;
    }
    ScopedEnvironment::Values environment{
        {"XDG_DATA_DIRS", root.filePath(u"data"_s)},
        {"XDG_CONFIG_HOME", root.filePath(u"config"_s)},
        {"XDG_RUNTIME_DIR", root.filePath(u"runtime"_s)},
        {"GSETTINGS_BACKEND", u"dconf"_s},
    };
    environment.insert(environment.end(), moreEnvironment.begin(), moreEnvironment.end());
    // Before the bus: dconf-service, which the bus starts, takes the bus's environment.
    dconf->m_environment.emplace(environment);
    dconf->m_bus = PrivateSessionBus::start({u"ca.desrt.dconf"_s});
    if (!dconf->m_bus)
        return nullptr;
    return dconf;
}

// The bus goes first: its services still use the folders.
PrivateDconf::~PrivateDconf()
{
    m_bus.reset();
    m_environment.reset();
}

bool PrivateDconf::reset() const
{
    return runCommand(u"dconf"_s, {u"reset"_s, u"-f"_s, u"/"_s}).exitCode == 0;
}

} // namespace TestSupport
