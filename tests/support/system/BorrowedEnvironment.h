#pragma once

#include <stdlib.h>

#include <map>
#include <optional>
#include <string>

namespace velmora {

/// Changes variables of this process's environment and gives them back as they were. While no other
/// thread looks at the environment.
class BorrowedEnvironment final {
  public:
    BorrowedEnvironment() = default;
    ~BorrowedEnvironment() {
        for (const auto& [name, value] : before_) {
            assign(name, value);
        }
    }
    BorrowedEnvironment(const BorrowedEnvironment&) = delete;
    BorrowedEnvironment& operator=(const BorrowedEnvironment&) = delete;

    /// Without a value the variable is taken out.
    void set(const std::string& name, const std::optional<std::string>& value) {
        const char* const old = ::getenv(name.c_str());  // NOLINT(concurrency-mt-unsafe)
        before_.emplace(name, old != nullptr ? std::optional<std::string>(old) : std::nullopt);
        assign(name, value);
    }

  private:
    static void assign(const std::string& name, const std::optional<std::string>& value) {
        if (value) {
            ::setenv(name.c_str(), value->c_str(), 1);  // NOLINT(concurrency-mt-unsafe)
        } else {
            ::unsetenv(name.c_str());  // NOLINT(concurrency-mt-unsafe)
        }
    }

    std::map<std::string, std::optional<std::string>> before_;
};

}  // namespace velmora
