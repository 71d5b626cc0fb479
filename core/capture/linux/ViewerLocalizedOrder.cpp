#include "core/capture/ViewerLocalizedOrder.h"

#include "core/capture/linux/ViewerCollation.h"
#include "core/runtime/linux/ViewerEnvironmentLocale.h"

namespace velmora {

bool ViewerLocalizedOrder::comesBefore(const std::string& a, const std::string& b) {
    // Never changed once it is made, so that any number of threads may compare with it.
    static const ViewerCollation current(ViewerEnvironmentLocale::name("LC_COLLATE"));
    return current.isAscending(a, b);
}

}  // namespace velmora
