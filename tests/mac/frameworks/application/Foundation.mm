#include <Foundation/Foundation.h>

#include <optional>
#include <string>

#include "tests/mac/frameworks/FrameworkCalls.h"
#include "tests/mac/frameworks/MoreFoundation.h"
#include "tests/mac/frameworks/application/ApplicationScript.h"

// What Foundation knows of the machine and the user, as the script says, in place of what GNUstep
// finds out.

using velmora::ApplicationScript;

namespace {

NSString* stringOf(const std::optional<std::string>& text) {
    if (!text) {
        return nil;
    }
    return [[NSString alloc] initWithBytes:text->data()
                                    length:text->size()
                                  encoding:NSUTF8StringEncoding];
}

}  // namespace

@interface FakeHost : NSObject
@end

@implementation FakeHost
- (NSString*)localizedName {
    return stringOf(ApplicationScript::shared().hostName);
}
@end

@interface FakeLocale : NSObject
@end

@implementation FakeLocale
- (id)objectForKey:(NSString*)key {
    const ApplicationScript& script = ApplicationScript::shared();
    if (![key isEqual:NSLocaleLanguageCode]) {
        return nil;
    }
    return script.hasNumberAsLanguage ? @1 : stringOf(script.languageCode);
}
@end

/// Lasts for as long as somebody holds it.
@interface FakeActivity : NSObject
@end

@implementation FakeActivity
@end

#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wobjc-protocol-method-implementation"  // replaced on purpose

@implementation NSHost (FakeHost)
+ (instancetype)currentHost {
    return static_cast<NSHost*>(static_cast<id>([[FakeHost alloc] init]));
}
@end

@implementation NSLocale (FakeLocale)
+ (NSLocale*)currentLocale {
    return static_cast<NSLocale*>(static_cast<id>([[FakeLocale alloc] init]));
}
@end

@implementation NSProcessInfo (FakeProcessInfo)
- (id<NSObject>)beginActivityWithOptions:(NSActivityOptions)options reason:(NSString*)reason {
    velmora::FrameworkCalls::note("beginActivity", options);
    return [[FakeActivity alloc] init];
}
@end

@implementation NSRunLoop (FakeRunLoop)
- (void)performBlock:(void (^)(void))block {
    ApplicationScript::shared().performed.emplace_back([block] { block(); });
}
@end

#pragma clang diagnostic pop
