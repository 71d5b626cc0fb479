#pragma once

// Foundation beyond what the adapters use: what the doubles and the tests need of it themselves.
// All of it is GNUstep's.

#include <Foundation/Foundation.h>

#pragma clang assume_nonnull begin

@interface NSObject (MoreFoundation)
- (BOOL)conformsToProtocol:(Protocol*)protocol;
@end

@interface NSNumber (MoreFoundation)
+ (NSNumber*)numberWithInt:(int)value;
@end

@interface NSError (MoreFoundation)
- (instancetype)initWithDomain:(NSString*)domain
                          code:(NSInteger)code
                      userInfo:(nullable NSDictionary*)userInfo;
@end

#pragma clang assume_nonnull end
