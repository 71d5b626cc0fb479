#include <Foundation/Foundation.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

#include "tests/mac/frameworks/MoreFoundation.h"

// Automatic reference counting on the GNU runtime: what every adapter and double stands on.

namespace {

/// How many `Witness`es there are.
std::atomic<int> witnesses{0};

}  // namespace

@protocol Naming <NSObject>
- (NSString*)name;
@end

@interface Witness : NSObject <Naming>
@property(nonatomic, copy) NSString* name;
@property(nonatomic, strong) id companion;
@property(atomic, strong) id sharedCompanion;
@property(nonatomic, weak) id acquaintance;
@property(nonatomic, copy) int (^question)(int);
@property(nonatomic) int number;
@end

@implementation Witness {
    std::shared_ptr<int> _shared;
}
- (instancetype)init {
    self = [super init];
    if (self != nil) {
        ++witnesses;
        _shared = std::make_shared<int>(7);
    }
    return self;
}
- (void)dealloc {
    --witnesses;
}
@end

@interface LateWitness : Witness
@property(nonatomic) double size;
@property(nonatomic, strong) Witness* other;
@end

@implementation LateWitness
@end

namespace {

class Bridge : public testing::Test {
  protected:
    void TearDown() override { EXPECT_EQ(witnesses, 0); }
};

__attribute__((ns_returns_retained)) Witness* made() {
    return [[Witness alloc] init];
}

TEST_F(Bridge, AnObjectGoesWithItsLastReference) {
    Witness* first = made();
    Witness* second = first;
    first = nil;
    EXPECT_EQ(second.number, 0);
    EXPECT_EQ(witnesses, 1);
    second = nil;
    EXPECT_EQ(witnesses, 0);
}

TEST_F(Bridge, StrongPropertiesGoWithTheirObject) {
    @autoreleasepool {
        Witness* const witness = made();
        witness.companion = made();
        witness.sharedCompanion = made();
        EXPECT_EQ(witnesses, 3);
        witness.companion = nil;
    }
    EXPECT_EQ(witnesses, 0);
}

TEST_F(Bridge, SubclassesKeepTheirVariablesApart) {
    @autoreleasepool {
        LateWitness* const witness = [[LateWitness alloc] init];
        witness.number = 3;
        witness.size = 2.5;
        witness.name = @"third";
        witness.other = made();
        EXPECT_EQ(witness.number, 3);
        EXPECT_EQ(witness.size, 2.5);
        EXPECT_STREQ(witness.name.UTF8String, "third");
        EXPECT_EQ(witnesses, 2);
    }
}

TEST_F(Bridge, AWeakReferenceEndsWithItsObject) {
    Witness* witness = made();
    Witness* const holder = made();
    __weak Witness* weak = witness;
    @autoreleasepool {
        holder.acquaintance = witness;
        EXPECT_TRUE(weak == witness);
        EXPECT_TRUE(holder.acquaintance == witness);
    }
    witness = nil;
    EXPECT_TRUE(weak == nil);
    EXPECT_TRUE(holder.acquaintance == nil);
}

TEST_F(Bridge, ABlockKeepsWhatItCapturesAndNothingWeaklyCaptured) {
    std::weak_ptr<int> captured;
    @autoreleasepool {
        Witness* const owner = made();
        Witness* kept = made();
        const auto value = std::make_shared<int>(40);
        captured = value;
        __weak Witness* weak = owner;
        owner.question = ^(int more) {
          return (weak != nil && kept != nil) ? *value + more : 0;
        };
        kept = nil;
        EXPECT_EQ(owner.question(2), 42);
    }
    EXPECT_TRUE(captured.expired());
}

TEST_F(Bridge, AReturnedBlockWaitsInThePool) {
    Witness* const owner = made();
    @autoreleasepool {
        owner.question = [](Witness* kept) {
            return ^(int) {
              return kept.number;
            };
        }(made());
        EXPECT_EQ(owner.question(0), 0);
        owner.question = nil;
    }
    EXPECT_EQ(witnesses, 1);
}

TEST_F(Bridge, AWeakReferenceIsWholeOrGoneWhileAnotherThreadDropsItsObject) {
    for (int round = 0; round < 2000; ++round) {
        __block Witness* witness = made();
        witness.number = 5;
        __weak Witness* weak = witness;
        std::thread reader([&] {
            @autoreleasepool {
                Witness* const seen = weak;
                EXPECT_TRUE(seen == nil || seen.number == 5);
            }
        });
        witness = nil;
        reader.join();
    }
}

TEST_F(Bridge, LiteralsAreFoundationObjects) {
    @autoreleasepool {
        NSArray<NSNumber*>* const numbers = @[ @1, @2.5, @YES ];
        NSDictionary<NSString*, id>* const table = @{@"Дисплей" : numbers};
        EXPECT_TRUE(table[@"Дисплей"] == numbers);
        EXPECT_EQ(numbers.firstObject.longLongValue, 1);
        EXPECT_STREQ(@"Дисплей".UTF8String, "Дисплей");
    }
}

TEST_F(Bridge, ProtocolsAreKnownToTheRuntime) {
    EXPECT_TRUE([made() conformsToProtocol:@protocol(Naming)]);
    EXPECT_FALSE([[[NSObject alloc] init] conformsToProtocol:@protocol(Naming)]);
}

}  // namespace
