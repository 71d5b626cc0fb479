#include "core/protocol/ViewerHostFrame.h"

#include <utility>

namespace velmora {

ViewerHostFrame::ViewerHostFrame(ViewerBytes frameJPEG, ViewerText frameSequence)
    : jpeg(std::move(frameJPEG)), sequence(std::move(frameSequence)) {}

}  // namespace velmora
