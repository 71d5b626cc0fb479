#include <Foundation/Foundation.h>

#include "tests/mac/frameworks/MoreFoundation.h"

// Foundation's order of names for people, which GNUstep's class lacks.

#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wobjc-protocol-method-implementation"  // it does not have it
@implementation NSString (LocalizedCompare)
- (NSComparisonResult)localizedStandardCompare:(NSString*)string {
    return [self.lowercaseString compare:string.lowercaseString options:NSNumericSearch];
}
@end
#pragma clang diagnostic pop
