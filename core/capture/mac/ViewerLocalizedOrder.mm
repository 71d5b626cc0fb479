#include "core/capture/ViewerLocalizedOrder.h"

#import <Foundation/Foundation.h>

#include "core/runtime/mac/ViewerFoundationText.h"

namespace velmora {

bool ViewerLocalizedOrder::comesBefore(const std::string& a, const std::string& b) {
    NSString* const first = ViewerFoundationText::stringOf(a);
    NSString* const second = ViewerFoundationText::stringOf(b);
    return first != nil && second != nil &&
           [first localizedStandardCompare:second] == NSOrderedAscending;
}

}  // namespace velmora
