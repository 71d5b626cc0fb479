#pragma once

#include <string>
#include <string_view>

namespace velmora {

/// A file that its owner alone can read, in the folder that the session has for such files, or in
/// one made for it. It is gone with this object. One thread.
class ViewerPrivateFile final {
  public:
    /// Throws std::system_error when it cannot be written. `ending` is of its name, with the dot.
    ViewerPrivateFile(std::string_view content, std::string_view ending);
    ~ViewerPrivateFile();
    ViewerPrivateFile(const ViewerPrivateFile&) = delete;
    ViewerPrivateFile& operator=(const ViewerPrivateFile&) = delete;

    const std::string& path() const { return path_; }

  private:
    /// Only where one was made.
    std::string folder_;
    std::string path_;
};

}  // namespace velmora
