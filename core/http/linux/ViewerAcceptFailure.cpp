#include "core/http/linux/ViewerAcceptFailure.h"

#include <cerrno>

namespace velmora {

ViewerAcceptFailure acceptFailure(int error) {
    switch (error) {
        case EAGAIN:
        // Linux passes on what has already befallen the new connection and its network.
        case ECONNABORTED:
        case EINTR:
        case EPROTO:
        case ENETDOWN:
        case ENETUNREACH:
        case ENONET:
        case ENOPROTOOPT:
        case EHOSTDOWN:
        case EHOSTUNREACH:
            return ViewerAcceptFailure::connectionGone;
        case EBADF:
        case EINVAL:
        case ENOTSOCK:
            return ViewerAcceptFailure::listenerBroken;
        default:
            return ViewerAcceptFailure::exhausted;
    }
}

}  // namespace velmora
