#include "core/protocol/ViewerHostRouter.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "tests/support/http/FakeFrameProvider.h"
#include "tests/support/http/JoinedBytes.h"
#include "tests/support/runtime/SimulatedWorld.h"
#include "tests/support/runtime/SpawnedAnswer.h"

namespace velmora {
namespace {

using Calls = std::vector<std::string>;

class ViewerHostRouterTest : public testing::Test {
  protected:
    ViewerHostHTTPResponse respond(const std::string& method, const std::string& target) {
        const ViewerHostRouter router(provider, "Studio");
        const SpawnedAnswer answer(world, router.response(ViewerHostRequest(method, target)));
        world.settle();
        return answer.value();
    }
    ViewerHostHTTPResponse get(const std::string& target) { return respond("GET", target); }

    /// Lists a display that has a frame of that many bytes.
    void addDisplay(const std::string& id, std::size_t frameBytes) {
        provider->listed.emplace_back(id, "Display", 1512, 982);
        provider->frames.emplace(
            id, ViewerHostFrame(ViewerBytes(std::vector<std::uint8_t>(frameBytes, 0xD8)),
                                "sequence of " + id));
    }
    static ViewerHostHTTPResponse frameResponse(const std::string& id, std::size_t frameBytes) {
        return {200, "OK", "image/jpeg", ViewerBytes(std::vector<std::uint8_t>(frameBytes, 0xD8)),
                "sequence of " + id};
    }

    SimulatedWorld world;
    std::shared_ptr<FakeFrameProvider> provider = std::make_shared<FakeFrameProvider>();
};

TEST_F(ViewerHostRouterTest, EveryMethodButGETIsNotAllowed) {
    addDisplay("1", 3);
    for (const char* method : {"POST", "HEAD", "get", "", "GET "}) {
        EXPECT_EQ(respond(method, "/viewer/v1/displays"),
                  ViewerHostHTTPResponse::methodNotAllowed());
        EXPECT_EQ(respond(method, "/unknown"), ViewerHostHTTPResponse::methodNotAllowed());
    }
    EXPECT_EQ(provider->calls, Calls());
}

TEST_F(ViewerHostRouterTest, AListingHasItsExactBytesAndNoFrameHeader) {
    provider->listed.emplace_back("2", "B", 1512, 982);
    provider->listed.emplace_back("1", "A", 640, 360);
    EXPECT_EQ(joined(get("/viewer/v1/displays").serialized()),
              "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: 184\r\n"
              "Cache-Control: no-store\r\nConnection: close\r\n\r\n"
              "{\"protocol\":\"Velmora.Windows.ViewerHost\",\"version\":1,"
              "\"machineName\":\"Studio\",\"displays\":["
              "{\"id\":\"2\",\"name\":\"B\",\"width\":1512,\"height\":982},"
              "{\"id\":\"1\",\"name\":\"A\",\"width\":640,\"height\":360}]}");
    EXPECT_EQ(provider->calls, Calls({"displays"}));
}

/// Lists what a test put in, the same object each time.
class SharedListProvider final : public ViewerHostFrameProviding {
  public:
    ViewerTask<ViewerHostDisplays> displays() override { co_return listed; }
    ViewerTask<std::optional<ViewerHostFrame>> frame(std::string) override {
        co_return std::nullopt;
    }
    ViewerTask<void> shutdown() override { co_return; }

    ViewerHostDisplays listed;
};

TEST_F(ViewerHostRouterTest, TheSameListIsWrittenOnceAndAnotherOneAnew) {
    const auto shared = std::make_shared<SharedListProvider>();
    const ViewerHostRouter router(shared, "Studio");
    const auto list = [&] {
        const SpawnedAnswer answer(
            world, router.response(ViewerHostRequest("GET", "/viewer/v1/displays")));
        world.settle();
        return answer.value().body;
    };
    EXPECT_NE(list().text().find("\"displays\":[]"), std::string_view::npos);
    shared->listed = std::vector{ViewerHostDisplay("1", "A", 640, 360)};
    const ViewerBytes first = list();
    EXPECT_NE(first.text().find("\"1\""), std::string_view::npos);
    EXPECT_EQ(list().data(), first.data());
    shared->listed = std::vector{ViewerHostDisplay("2", "B", 640, 360)};
    EXPECT_NE(list().text().find("\"2\""), std::string_view::npos);
}

TEST_F(ViewerHostRouterTest, AListingOfNoDisplaysIsAnswered) {
    const auto response = get("/viewer/v1/displays");
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.body.text(),
              R"({"protocol":"Velmora.Windows.ViewerHost","version":1,"machineName":"Studio",)"
              R"("displays":[]})");
    EXPECT_EQ(response.frameSequence, std::nullopt);
}

TEST_F(ViewerHostRouterTest, ANameThatIsNotUTF8ReachesTheWireRepaired) {
    provider->listed.emplace_back("1", "DELL\xFF", 1, 2);
    EXPECT_NE(get("/viewer/v1/displays").body.text().find("\"name\":\"DELL\uFFFD\""),
              std::string_view::npos);
}

TEST_F(ViewerHostRouterTest, TheListingsPathMustMatchExactly) {
    for (const char* target : {"/viewer/v1/displays/", "/viewer/v1/displays?x=1",
                               "/viewer/v1/Displays", "/viewer/v1/display", "viewer/v1/displays",
                               "/viewer/v1/displays%20", "http://host/viewer/v1/displays"}) {
        EXPECT_EQ(get(target), ViewerHostHTTPResponse::notFound()) << target;
    }
    EXPECT_EQ(provider->calls, Calls());
}

TEST_F(ViewerHostRouterTest, AnyOtherTargetIsNotFound) {
    addDisplay("1", 3);
    for (const char* target : {"/", "", "*", "/viewer/v1/frame", "/viewer/v1/frame?",
                               "/favicon.ico", "/viewer/v1/frame?ID=1", "/viewer/v1/frame/?id=1",
                               "/viewer/v2/frame?id=1", "/viewer/v1/frame?size=1&id=1"}) {
        EXPECT_EQ(get(target), ViewerHostHTTPResponse::notFound()) << target;
    }
    EXPECT_EQ(provider->calls, Calls());
}

TEST_F(ViewerHostRouterTest, AFrameIsSentWithItsSequence) {
    addDisplay("0", 5);
    addDisplay("1", 3);
    EXPECT_EQ(get("/viewer/v1/frame?id=1"), frameResponse("1", 3));
    EXPECT_EQ(provider->calls, Calls({"displays", "frame 1"}));
}

TEST_F(ViewerHostRouterTest, TheFramesBytesAreNotCopied) {
    addDisplay("1", 3);
    EXPECT_EQ(get("/viewer/v1/frame?id=1").body.data(), provider->frames.at("1").jpeg.data());
}

TEST_F(ViewerHostRouterTest, TheIdIsPercentDecoded) {
    addDisplay("Display 1", 3);
    EXPECT_EQ(get("/viewer/v1/frame?id=Display%201"), frameResponse("Display 1", 3));
    EXPECT_EQ(get("/viewer/v1/frame?id=Display+1"), ViewerHostHTTPResponse::notFound());
}

TEST_F(ViewerHostRouterTest, AnIdThatCannotBeDecodedIsNotFoundAndAsksForNothing) {
    addDisplay("%G1", 3);
    addDisplay("\xFF", 3);
    for (const char* id : {"%G1", "%", "1%", "1%2", "%FF", "%C3%28"}) {
        EXPECT_EQ(get(std::string("/viewer/v1/frame?id=") + id), ViewerHostHTTPResponse::notFound())
            << id;
    }
    EXPECT_EQ(provider->calls, Calls());
}

TEST_F(ViewerHostRouterTest, AnUnknownIdNeverStartsACapture) {
    addDisplay("1", 3);
    provider->frames.emplace("2", ViewerHostFrame(ViewerBytes("JPEG"), "s"));
    EXPECT_EQ(get("/viewer/v1/frame?id=2"), ViewerHostHTTPResponse::notFound());
    EXPECT_EQ(provider->calls, Calls({"displays"}));
}

TEST_F(ViewerHostRouterTest, IdsAreComparedCaseSensitively) {
    addDisplay("a", 3);
    EXPECT_EQ(get("/viewer/v1/frame?id=A"), ViewerHostHTTPResponse::notFound());
    EXPECT_EQ(get("/viewer/v1/frame?id=a"), frameResponse("a", 3));
}

TEST_F(ViewerHostRouterTest, EverythingBehindThePrefixIsTheId) {
    addDisplay("1", 3);
    EXPECT_EQ(get("/viewer/v1/frame?id=1&size=small"), ViewerHostHTTPResponse::notFound());
    addDisplay("1&size=small", 4);
    EXPECT_EQ(get("/viewer/v1/frame?id=1&size=small"), frameResponse("1&size=small", 4));
}

TEST_F(ViewerHostRouterTest, TheEmptyIdIsLookedUpLikeAnyOther) {
    addDisplay("1", 3);
    EXPECT_EQ(get("/viewer/v1/frame?id="), ViewerHostHTTPResponse::notFound());
    EXPECT_EQ(provider->calls, Calls({"displays"}));
    addDisplay("", 4);
    EXPECT_EQ(get("/viewer/v1/frame?id="), frameResponse("", 4));
}

TEST_F(ViewerHostRouterTest, WithoutAFrameTheServiceIsUnavailable) {
    provider->listed.emplace_back("1", "Display", 1512, 982);
    EXPECT_EQ(get("/viewer/v1/frame?id=1"), ViewerHostHTTPResponse::serviceUnavailable());
    EXPECT_EQ(provider->calls, Calls({"displays", "frame 1"}));
}

TEST_F(ViewerHostRouterTest, AnEmptyFrameIsNotSent) {
    addDisplay("1", 0);
    EXPECT_EQ(get("/viewer/v1/frame?id=1"), ViewerHostHTTPResponse::serviceUnavailable());
}

TEST_F(ViewerHostRouterTest, AFrameOf2097152BytesIsSentAndOneByteMoreIsNot) {
    addDisplay("largest", 2'097'152);
    addDisplay("larger", 2'097'153);
    EXPECT_EQ(get("/viewer/v1/frame?id=largest"), frameResponse("largest", 2'097'152));
    EXPECT_EQ(get("/viewer/v1/frame?id=larger"), ViewerHostHTTPResponse::serviceUnavailable());
}

TEST_F(ViewerHostRouterTest, AResponseOutlivesItsRouter) {
    addDisplay("1", 3);
    auto router = std::make_unique<ViewerHostRouter>(provider, "Studio of a rather long name");
    const SpawnedAnswer listing(world, router->response({"GET", "/viewer/v1/displays"}));
    const SpawnedAnswer frame(world, router->response({"GET", "/viewer/v1/frame?id=1"}));
    router.reset();
    provider.reset();
    world.settle();
    EXPECT_NE(listing.value().body.text().find("Studio of a rather long name"),
              std::string_view::npos);
    EXPECT_EQ(frame.value(), frameResponse("1", 3));
}

/// What is answered at once, or by a task.
class ViewerHostRouterAtHandTest : public ViewerHostRouterTest {
  protected:
    ViewerHostRouterAtHandTest() {
        provider->areAtHand = true;
        addDisplay("1", 3);
    }

    ViewerHostAnswer ask(const std::string& method, const std::string& target) {
        const ViewerHostRouter router(provider, "Studio");
        return router.answer(ViewerHostRequest(method, target), world.mainExecutor());
    }
    /// Nothing when it takes a task.
    std::optional<ViewerHostHTTPResponse> atOnce(const std::string& target,
                                                 const std::string& method = "GET") {
        const ViewerHostAnswer answer = ask(method, target);
        const auto* const response = std::get_if<ViewerHostHTTPResponse>(&answer);
        return response != nullptr ? std::optional(*response) : std::nullopt;
    }
    ViewerHostHTTPResponse byTask(const std::string& target) {
        using Task = ViewerTask<ViewerHostHTTPResponse>;
        const SpawnedAnswer answer(world, std::get<Task>(ask("GET", target)));
        world.settle();
        return answer.value();
    }
};

TEST_F(ViewerHostRouterAtHandTest, ARefusalNeedsNobody) {
    EXPECT_EQ(atOnce("/viewer/v1/displays", "POST"), ViewerHostHTTPResponse::methodNotAllowed());
    EXPECT_EQ(atOnce("/unknown"), ViewerHostHTTPResponse::notFound());
    EXPECT_EQ(atOnce("/viewer/v1/frame?id=%"), ViewerHostHTTPResponse::notFound());
    EXPECT_EQ(provider->calls, Calls());
}

TEST_F(ViewerHostRouterAtHandTest, AListingIsTheOneThatATaskMakes) {
    const auto response = atOnce("/viewer/v1/displays");
    EXPECT_EQ(provider->calls, Calls({"displays at hand"}));
    EXPECT_EQ(response, get("/viewer/v1/displays"));
    EXPECT_EQ(provider->caller, world.mainExecutor());
}

TEST_F(ViewerHostRouterAtHandTest, AFrameIsTheOneThatATaskMakes) {
    provider->framesAtHand = provider->frames;
    EXPECT_EQ(atOnce("/viewer/v1/frame?id=1"), frameResponse("1", 3));
    EXPECT_EQ(provider->calls, Calls({"displays at hand", "frame at hand 1"}));
    EXPECT_EQ(provider->caller, world.mainExecutor());
}

TEST_F(ViewerHostRouterAtHandTest, ADisplayThatIsNotListedIsNotAskedForItsFrame) {
    provider->framesAtHand.emplace("2", ViewerHostFrame(ViewerBytes("JPEG"), "label"));
    EXPECT_EQ(atOnce("/viewer/v1/frame?id=2"), ViewerHostHTTPResponse::notFound());
    EXPECT_EQ(provider->calls, Calls({"displays at hand"}));
}

TEST_F(ViewerHostRouterAtHandTest, AFrameThatCannotBeSentIsUnavailable) {
    provider->framesAtHand.emplace("1", ViewerHostFrame(ViewerBytes(), "label"));
    EXPECT_EQ(atOnce("/viewer/v1/frame?id=1"), ViewerHostHTTPResponse::serviceUnavailable());
}

TEST_F(ViewerHostRouterAtHandTest, AFrameThatIsNotIsWaitedForWithoutAnotherLookAtTheDisplays) {
    EXPECT_EQ(byTask("/viewer/v1/frame?id=1"), frameResponse("1", 3));
    EXPECT_EQ(provider->calls, Calls({"displays at hand", "frame at hand 1", "frame 1"}));
}

TEST_F(ViewerHostRouterAtHandTest, WithoutDisplaysATaskDoesEverything) {
    provider->areAtHand = false;
    EXPECT_EQ(byTask("/viewer/v1/displays"), get("/viewer/v1/displays"));
    provider->calls.clear();
    EXPECT_EQ(byTask("/viewer/v1/frame?id=1"), frameResponse("1", 3));
    EXPECT_EQ(provider->calls, Calls({"displays", "frame 1"}));
}

}  // namespace
}  // namespace velmora
