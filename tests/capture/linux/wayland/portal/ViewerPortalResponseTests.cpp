#include "core/capture/linux/wayland/portal/ViewerPortalResponse.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/capture/linux/wayland/portal/PortalOnBus.h"

namespace velmora {
namespace {

using testing::ElementsAre;
using Writer = ScriptedPortal::Writer;

/// Answers of a portal that are not what they should be.
class MalformedPortalTest : public PortalOnBus {
  protected:
    /// What becomes of a request when `call` has this outcome.
    Access accessAfter(const std::string& call, Writer response) {
        portal_->responses = {{call, std::move(response)}};
        makeConsent();
        return answerToRequest();
    }
    /// The same, with these results of a grant.
    Access accessAfterResults(Writer results) {
        portal_->responses.clear();
        portal_->streams = std::move(results);
        makeConsent();
        return answerToRequest();
    }
};

/// Streams of another type than they should have, in the entry of that name.
Writer entry(const char* key, const char* type, const std::function<void(sd_bus_message*)>& write) {
    return [=](sd_bus_message* message) {
        sd_bus_message_open_container(message, 'e', "sv");
        sd_bus_message_append(message, "s", key);
        sd_bus_message_open_container(message, 'v', type);
        write(message);
        sd_bus_message_close_container(message);
        sd_bus_message_close_container(message);
    };
}

TEST_F(MalformedPortalTest, AnOutcomeThatIsNoneIsAPortalThatDoesNotWork) {
    const std::vector<Writer> outcomes{
        [](sd_bus_message*) {},
        [](sd_bus_message* signal) { sd_bus_message_append(signal, "s", "granted"); },
        [](sd_bus_message* signal) { sd_bus_message_append(signal, "u", 0); },
        [](sd_bus_message* signal) { sd_bus_message_append(signal, "us", 0, "results"); },
        [](sd_bus_message* signal) { sd_bus_message_append(signal, "ua{ss}", 0, 1, "a", "b"); },
        [](sd_bus_message* signal) { sd_bus_message_append(signal, "ua{sv}", 77, 0); },
    };
    for (const char* const call : {"CreateSession", "SelectSources", "Start"}) {
        for (const Writer& outcome : outcomes) {
            EXPECT_EQ(accessAfter(call, outcome), Access::portalSilent) << call;
        }
    }
}

TEST_F(MalformedPortalTest, ASessionWithoutAnObjectIsAPortalThatDoesNotWork) {
    for (const char* const handle : {"", "no path", "/trailing/", "//"}) {
        portal_->sessionHandle = handle;
        makeConsent();
        EXPECT_EQ(answerToRequest(), Access::portalSilent) << handle;
    }
    EXPECT_EQ(accessAfter("CreateSession",
                          [](sd_bus_message* signal) {
                              sd_bus_message_append(signal, "ua{sv}", 0, 1, "session_handle", "u",
                                                    5);
                          }),
              Access::portalSilent);
    EXPECT_FALSE(wasAsked("SelectSources"));
}

TEST_F(MalformedPortalTest, ASessionMayBeNamedByAnObjectPathToo) {
    portal_->responses["CreateSession"] = [this](sd_bus_message* signal) {
        sd_bus_message_append(signal, "ua{sv}", 0, 1, "session_handle", "o",
                              portal_->session.c_str());
    };
    EXPECT_EQ(answerToRequest(), Access::granted);
}

TEST_F(MalformedPortalTest, AGrantWithoutAListOfStreamsIsAPortalThatDoesNotWork) {
    const std::vector<Writer> results{
        [](sd_bus_message*) {},
        [](sd_bus_message* message) { sd_bus_message_append(message, "{sv}", "streams", "u", 7); },
        [](sd_bus_message* message) {
            sd_bus_message_append(message, "{sv}", "streams", "a(us)", 1, 7, "x");
        },
        [](sd_bus_message* message) {
            sd_bus_message_append(message, "{sv}", "streams", "(ua{sv})", 7, 0);
        },
        [](sd_bus_message* message) {
            sd_bus_message_append(message, "{sv}", "streams", "a(sa{sv})", 1, "x", 0);
        },
    };
    for (const Writer& result : results) {
        EXPECT_EQ(accessAfterResults(result), Access::portalSilent);
    }
}

TEST_F(MalformedPortalTest, AGrantOfNoStreamsIsAGrant) {
    EXPECT_EQ(accessAfterResults(entry(
                  "streams", "a(ua{sv})",
                  [](sd_bus_message* message) { sd_bus_message_append(message, "a(ua{sv})", 0); })),
              Access::granted);
    EXPECT_TRUE(consent_->grant()->streams.empty());
}

TEST_F(MalformedPortalTest, APropertyOfAnotherTypeCountsAsNotTold) {
    EXPECT_EQ(accessAfterResults(entry("streams", "a(ua{sv})",
                                       [](sd_bus_message* message) {
                                           sd_bus_message_append(
                                               message, "a(ua{sv})", 1, 9, 7,          //
                                               "position", "s", "here",                //
                                               "size", "(uu)", 5, 6,                   //
                                               "source_type", "i", 1,                  //
                                               "mapping_id", "as", 2, "DP-1", "DP-2",  //
                                               "pipewire-serial", "s", "5",            //
                                               "unknown", "a{sv}", 1, "deep", "(sv)", "x", "u", 1,
                                               "id", "v", "s", "nested");
                                       })),
              Access::granted);
    ViewerGrantedStream untold;
    untold.node = 9;
    EXPECT_THAT(consent_->grant()->streams, ElementsAre(untold));
}

TEST_F(MalformedPortalTest, ATokenOfAnotherTypeIsNone) {
    portal_->token.clear();
    const Writer streams = ScriptedPortal::streamsOfKde();
    EXPECT_EQ(accessAfterResults([streams](sd_bus_message* message) {
                  streams(message);
                  sd_bus_message_append(message, "{sv}", "restore_token", "u", 5);
              }),
              Access::granted);
    settle();
    portal_->closeSession();
    EXPECT_TRUE(until([this] { return consent_->state() == State::stopped; }));
}

TEST_F(MalformedPortalTest, AResultThatNobodyKnowsIsNoToken) {
    portal_->token.clear();
    const Writer streams = ScriptedPortal::streamsOfKde();
    EXPECT_EQ(accessAfterResults([streams](sd_bus_message* message) {
                  streams(message);
                  sd_bus_message_append(message, "{sv}", "restore_token", "s", "right");
                  sd_bus_message_append(message, "{sv}", "another_token", "s", "wrong");
              }),
              Access::granted);
    settle();
    interrupt();
    pass(std::chrono::seconds(1));
    EXPECT_TRUE(until([this] { return timesAsked("SelectSources") == 2; }));
    EXPECT_EQ(portal_->options["SelectSources"]["restore_token"], "right");
}

TEST_F(MalformedPortalTest, PropertiesThatAreNoneOfferNoScreens) {
    portal_.reset();
    others_.push_back(std::make_unique<BusPeer>(
        bus_.address(), std::vector<std::string>{"org.freedesktop.portal.Desktop"},
        [](sd_bus_message* call) { sd_bus_reply_method_return(call, "s", "nonsense"); }));
    EXPECT_EQ(answerToRequest(), Access::portalWithoutScreens);
}

TEST_F(MalformedPortalTest, ACallThatIsAnsweredWithNoObjectIsAPortalThatDoesNotWork) {
    portal_.reset();
    others_.push_back(std::make_unique<BusPeer>(
        bus_.address(), std::vector<std::string>{"org.freedesktop.portal.Desktop"},
        [](sd_bus_message* call) {
            if (std::string(sd_bus_message_get_member(call)) == "GetAll") {
                sd_bus_reply_method_return(call, "a{sv}", 1, "AvailableSourceTypes", "u", 1);
            } else {
                sd_bus_reply_method_return(call, "u", 5);
            }
        }));
    EXPECT_EQ(answerToRequest(), Access::portalSilent);
}

}  // namespace
}  // namespace velmora
