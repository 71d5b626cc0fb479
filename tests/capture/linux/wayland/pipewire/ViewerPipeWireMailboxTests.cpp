#include "core/capture/linux/wayland/pipewire/ViewerPipeWireMailbox.h"

#include <gtest/gtest.h>

namespace velmora {
namespace {

class ViewerPipeWireMailboxTest : public testing::Test {
  protected:
    ViewerPipeWireMailbox mailbox_;
    pw_buffer first_{};
    pw_buffer second_{};
};

TEST_F(ViewerPipeWireMailboxTest, TheReaderGetsTheNewestOnce) {
    EXPECT_EQ(mailbox_.put(&first_), nullptr);

    EXPECT_EQ(mailbox_.take().buffer, &first_);
    EXPECT_EQ(mailbox_.take().buffer, nullptr);
}

TEST_F(ViewerPipeWireMailboxTest, WhatNobodyHasReadGoesBackForTheNext) {
    (void)mailbox_.put(&first_);

    EXPECT_EQ(mailbox_.put(&second_), &first_);
    const ViewerPipeWireMailbox::Arrival arrival = mailbox_.take();
    EXPECT_EQ(arrival.buffer, &second_);
    EXPECT_TRUE(arrival.isAfterOthers);
}

TEST_F(ViewerPipeWireMailboxTest, WhatWasPassedOverIsToldWithTheNextAlone) {
    mailbox_.notePassedOver();
    EXPECT_FALSE(mailbox_.take().isAfterOthers) << "there is nothing to tell it with";
    (void)mailbox_.put(&first_);
    EXPECT_TRUE(mailbox_.take().isAfterOthers);
    (void)mailbox_.put(&second_);

    EXPECT_FALSE(mailbox_.take().isAfterOthers);
}

TEST_F(ViewerPipeWireMailboxTest, WhatWasReadIsCollectedOnce) {
    EXPECT_EQ(mailbox_.collect(), nullptr);
    mailbox_.giveBack(&first_);
    mailbox_.giveBack(&second_);

    EXPECT_NE(mailbox_.collect(), mailbox_.collect());
    EXPECT_EQ(mailbox_.collect(), nullptr);
}

TEST_F(ViewerPipeWireMailboxTest, ABufferThatIsNoMoreIsNeitherReadNorGivenBack) {
    (void)mailbox_.put(&first_);
    mailbox_.giveBack(&second_);
    mailbox_.forget(&first_);
    mailbox_.forget(&second_);

    EXPECT_EQ(mailbox_.take().buffer, nullptr);
    EXPECT_EQ(mailbox_.collect(), nullptr);
}

TEST_F(ViewerPipeWireMailboxTest, ABufferThatIsNoMoreTakesNoOtherAlong) {
    (void)mailbox_.put(&first_);

    mailbox_.forget(&second_);

    EXPECT_EQ(mailbox_.take().buffer, &first_);
}

}  // namespace
}  // namespace velmora
