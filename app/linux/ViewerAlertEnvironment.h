#pragma once

#include <string>
#include <vector>

namespace velmora {

/// What the program that shows an alert finds around it: the host's own environment, less what
/// would let it act beyond its window, plus what it would otherwise make for itself and leave
/// behind. Owns the folder that it may have to make. Main thread only.
class ViewerAlertEnvironment final {
  public:
    /// Whether the host's environment names a display to show anything on.
    static bool hasGraphicalSession();

    ViewerAlertEnvironment();
    /// Removes the private folder.
    ~ViewerAlertEnvironment();
    ViewerAlertEnvironment(const ViewerAlertEnvironment&) = delete;
    ViewerAlertEnvironment& operator=(const ViewerAlertEnvironment&) = delete;

    /// "NAME=value" each.
    const std::vector<std::string>& variables() const { return variables_; }
    /// In place of the session's runtime folder where there is none, for this user alone; else
    /// empty.
    const std::string& privateFolder() const { return privateFolder_; }

  private:
    void makePrivateFolder();
    void set(const std::string& name, const std::string& value);
    void remove(const std::string& name);

    std::vector<std::string> variables_;
    std::string privateFolder_;
};

}  // namespace velmora
