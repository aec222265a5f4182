#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

#include <initializer_list>
#include <optional>
#include <utility>
#include <vector>

namespace TestSupport {

// Sets environment variables while it lives, then puts back what was there before, unsetting what was unset.
class ScopedEnvironment {
public:
    using Values = std::vector<std::pair<const char *, QString>>;

    ScopedEnvironment(std::initializer_list<Values::value_type> values) : ScopedEnvironment(Values(values)) {}
    explicit ScopedEnvironment(const Values &values)
    {
        for (const auto &[name, value] : values) {
            m_saved.emplace_back(name, qEnvironmentVariableIsSet(name) ? std::optional(qgetenv(name)) : std::nullopt);
            qputenv(name, QFile::encodeName(value));
        }
    }
    ~ScopedEnvironment()
    {
        for (const auto &[name, value] : m_saved) {
            if (value)
                qputenv(name.constData(), *value);
            else
                qunsetenv(name.constData());
        }
    }
    ScopedEnvironment(const ScopedEnvironment &) = delete;
    ScopedEnvironment &operator=(const ScopedEnvironment &) = delete;

private:
    std::vector<std::pair<QByteArray, std::optional<QByteArray>>> m_saved;
};

} // namespace TestSupport
