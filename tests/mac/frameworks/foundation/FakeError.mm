#include "tests/mac/frameworks/foundation/FakeError.h"

#include "tests/mac/frameworks/MoreFoundation.h"

@implementation FakeError {
    NSString* _description;
}

+ (instancetype)errorWithDescription:(std::string_view)description {
    FakeError* const error = [[self alloc] initWithDomain:@"FakeError" code:1 userInfo:nil];
    error->_description = [[NSString alloc] initWithBytes:description.data()
                                                   length:description.size()
                                                 encoding:NSUTF8StringEncoding];
    return error;
}

- (NSString*)localizedDescription {
    return _description;
}

@end
