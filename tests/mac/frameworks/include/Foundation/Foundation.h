#pragma once

// The part of Foundation that the adapters use, declared by this project: they are checked against
// it where there is no macOS.

#include <CoreFoundation/CoreFoundation.h>

#include <cstddef>
#include <cstdint>

#define nil nullptr
#define YES __objc_yes
#define NO __objc_no
#define NS_UNAVAILABLE __attribute__((unavailable))

#pragma clang assume_nonnull begin

using BOOL = bool;
using NSInteger = long;
using NSUInteger = unsigned long;

@protocol NSObject
- (BOOL)isEqual:(nullable id)object;
- (BOOL)isKindOfClass:(Class)aClass;
@end

__attribute__((objc_root_class))
@interface NSObject<NSObject> {
    Class isa;
}
+ (instancetype)alloc;
+ (Class)class;
- (instancetype)init;
@end

struct NSFastEnumerationState {
    unsigned long state;
    id __unsafe_unretained _Nullable* _Nullable itemsPtr;
    unsigned long* _Nullable mutationsPtr;
    unsigned long extra[5];
};

@protocol NSFastEnumeration
- (NSUInteger)countByEnumeratingWithState:(NSFastEnumerationState*)state
                                  objects:(id __unsafe_unretained _Nullable[_Nonnull])buffer
                                    count:(NSUInteger)length;
@end

enum NSComparisonResult : NSInteger {
    NSOrderedAscending = -1,
};

enum : NSUInteger { NSUTF8StringEncoding = 4 };

@interface NSString : NSObject
- (nullable instancetype)initWithBytes:(const void*)bytes
                                length:(NSUInteger)length
                              encoding:(NSUInteger)encoding;
@property(readonly, nullable) const char* UTF8String;
- (NSComparisonResult)localizedStandardCompare:(NSString*)string;
@end

@interface NSNumber : NSObject
+ (NSNumber*)numberWithBool:(BOOL)value;
+ (NSNumber*)numberWithDouble:(double)value;
+ (NSNumber*)numberWithLongLong:(long long)value;
@property(readonly) unsigned int unsignedIntValue;
@property(readonly) long long longLongValue;
@end

@interface NSArray<__covariant ObjectType> : NSObject <NSFastEnumeration>
+ (instancetype)arrayWithObjects:(const ObjectType _Nonnull[_Nullable])objects
                           count:(NSUInteger)count;
@property(nullable, readonly) ObjectType firstObject;
@end

@interface NSDictionary<__covariant KeyType, __covariant ObjectType> : NSObject
+ (instancetype)dictionaryWithObjects:(const ObjectType _Nonnull[_Nullable])objects
                              forKeys:(const KeyType _Nonnull[_Nullable])keys
                                count:(NSUInteger)count;
- (nullable ObjectType)objectForKeyedSubscript:(KeyType)key;
@end

@interface NSData : NSObject
@property(readonly) const void* bytes;
@property(readonly) NSUInteger length;
@end

@interface NSMutableData : NSData
@end

@interface NSError : NSObject
@property(readonly) NSString* localizedDescription;
@end

@interface NSURL : NSObject
+ (nullable instancetype)URLWithString:(NSString*)text;
@end

@interface NSHost : NSObject
+ (instancetype)currentHost;
@property(readonly, nullable) NSString* localizedName;
@end

extern "C" NSString* const NSLocaleLanguageCode;

@interface NSLocale : NSObject
@property(class, readonly) NSLocale* currentLocale;
- (nullable id)objectForKey:(NSString*)key;
@end

@interface NSRunLoop : NSObject
@property(class, readonly) NSRunLoop* mainRunLoop;
- (void)performBlock:(void (^)(void))block;
@end

@interface NSNotification : NSObject
@end

enum NSActivityOptions : std::uint64_t {
    NSActivityUserInitiatedAllowingIdleSystemSleep = 0x00EFFFFF,
};

@interface NSProcessInfo : NSObject
@property(class, readonly) NSProcessInfo* processInfo;
- (id<NSObject>)beginActivityWithOptions:(NSActivityOptions)options reason:(NSString*)reason;
@end

#pragma clang assume_nonnull end
