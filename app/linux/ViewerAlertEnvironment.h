#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace velmora {

/// What the program that shows an alert finds around it: the host's own environment, with what is
/// different for that program, less what would let it act beyond its window, plus what it would
/// otherwise make for itself and leave behind. Owns the folder that it may have to make. Main
/// thread only.
class ViewerAlertEnvironment final {
  public:
    /// "NAME=value" each.
    using Variables = std::vector<std::string>;

    /// Whether the host's environment, with the variables of `own` in place of those that it has,
    /// names a display to show anything on.
    static bool hasGraphicalSession(const Variables& own);

    /// The variables of `own` stand in place of those that the host's environment has.
    explicit ViewerAlertEnvironment(const Variables& own = {});
    /// Removes the private folder.
    ~ViewerAlertEnvironment();
    ViewerAlertEnvironment(const ViewerAlertEnvironment&) = delete;
    ViewerAlertEnvironment& operator=(const ViewerAlertEnvironment&) = delete;

    const Variables& variables() const { return variables_; }
    /// In place of the session's runtime folder where there is none, for this user alone; else
    /// empty.
    const std::string& privateFolder() const { return privateFolder_; }

  private:
    void makePrivateFolder();
    void set(const std::string& name, const std::string& value);
    /// The variables that begin so: a name and its sign of equality.
    void remove(std::string_view beginning);

    Variables variables_;
    std::string privateFolder_;
};

}  // namespace velmora
