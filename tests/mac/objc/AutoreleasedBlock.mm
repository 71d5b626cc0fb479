#include "tests/mac/objc/AutoreleasedBlock.h"

#import <Foundation/Foundation.h>

@interface AutoreleasedBlock : NSObject
@property(nonatomic, strong) id block;
@end

@implementation AutoreleasedBlock
@end

void* velmora::bridge::makeBlockKeeper(void* block) {
    AutoreleasedBlock* const keeper = [[AutoreleasedBlock alloc] init];
    keeper.block = (__bridge_transfer id)block;
    return (__bridge_retained void*)keeper;
}
