#pragma once

#include <string>
#include <thread>

#include "tests/support/x11/XServer.h"

namespace velmora {

/// Takes the place of an X server that has ended: lets every client in, in that server's own words,
/// and says nothing more. Its clients lose it with this object. One thread.
class MuteXServer final {
  public:
    /// Listens to what the living server says to a client that comes.
    explicit MuteXServer(const XServer& server);
    ~MuteXServer();
    MuteXServer(const MuteXServer&) = delete;
    MuteXServer& operator=(const MuteXServer&) = delete;

    /// Once the server has ended.
    void start();

  private:
    void serve() const;

    const std::string path_;
    std::string welcome_;
    int listener_ = -1;
    std::thread thread_;
};

}  // namespace velmora
