#include <Foundation/Foundation.h>

@interface UTType : NSObject
@property(readonly) NSString* identifier;
@end

// Declared as a constant, which it is once the class is known to the runtime.
// NOLINTBEGIN(readability-identifier-naming): the framework's name
extern "C" UTType* UTTypeJPEG;
UTType* UTTypeJPEG = nil;
// NOLINTEND(readability-identifier-naming)

@implementation UTType

+ (void)load {
    UTTypeJPEG = [[UTType alloc] init];
}

- (NSString*)identifier {
    return @"public.jpeg";
}

@end
