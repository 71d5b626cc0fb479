#include "tests/capture/linux/x11/RunningCapture.h"

#include <utility>

#include "tests/capture/linux/x11/CapturedMonitor.h"

namespace velmora {

RunningCapture::RunningCapture(const XServer& server, const std::string& name,
                               StreamRecorder::Judgement isAllowed,
                               std::shared_ptr<ViewerX11Pacing> pacing)
    : recorder_(std::move(isAllowed)),
      pacing_(std::move(pacing)),
      connection_(ViewerX11Connection::connect(server.displayName())),
      thread_([this, uuidText = uuidOf(server, name)] {
          constexpr std::chrono::milliseconds frameInterval{40};
          ViewerX11MonitorCapture(connection_, uuidText, frameInterval, std::nullopt, pacing_)
              .run([this](const ViewerPixelBuffer& pixels) {
                  ViewerStreamOutput output;
                  output.isValid = true;
                  output.hasAttachments = true;
                  output.status = ViewerStreamOutput::completeStatus;
                  output.pixels = &pixels;
                  recorder_.streamDidOutput(output);
              });
          recorder_.streamDidStop();
      }) {}

RunningCapture::~RunningCapture() {
    connection_->abort();
    thread_.join();
}

}  // namespace velmora
