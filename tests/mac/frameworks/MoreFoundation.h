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
@property(readonly) double doubleValue;
@end

enum NSStringCompareOptions : NSUInteger { NSNumericSearch = 64 };

@interface NSString (MoreFoundation)
@property(readonly) NSString* lowercaseString;
- (NSComparisonResult)compare:(NSString*)string options:(NSUInteger)options;
@end

@interface NSArray (MoreFoundation)
@property(readonly) NSUInteger count;
@end

@interface NSMutableArray : NSArray
- (void)addObject:(id)object;
@end

@interface NSDictionary (MoreFoundation)
@property(readonly) NSUInteger count;
@end

@interface NSMutableData (MoreFoundation)
- (void)appendBytes:(const void*)bytes length:(NSUInteger)length;
@end

@interface NSURL (MoreFoundation)
@property(readonly) NSString* absoluteString;
@end

@interface NSNotification (MoreFoundation)
+ (instancetype)notificationWithName:(NSString*)name object:(nullable id)object;
@end

@interface NSError (MoreFoundation)
- (instancetype)initWithDomain:(NSString*)domain
                          code:(NSInteger)code
                      userInfo:(nullable NSDictionary*)userInfo;
@end

// NOLINTNEXTLINE(readability-identifier-naming): the runtime's name
extern "C" const char* object_getClassName(id object);

#pragma clang assume_nonnull end
