#include "core/protocol/ViewerHostFrame.h"

#include <utility>

namespace velmora {

ViewerHostFrame::ViewerHostFrame(ViewerBytes frameJPEG, std::string frameSequence)
    : jpeg(std::move(frameJPEG)), sequence(std::move(frameSequence)) {}

}  // namespace velmora
