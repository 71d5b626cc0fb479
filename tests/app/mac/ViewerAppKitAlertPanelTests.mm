#include <gmock/gmock.h>

#include <boost/asio/post.hpp>
#include <csignal>
#include <string>
#include <utility>
#include <vector>

#include "tests/app/mac/ApplicationTest.h"
#include "tests/mac/frameworks/FrameworkCalls.h"
#include "tests/mac/frameworks/dispatch/DispatchSources.h"

// Modal alerts on AppKit.

namespace velmora {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ViewerAppKitAlertPanel : public ApplicationTest {
  protected:
    static ViewerAlert alert() {
        return {ViewerAlertStyle::informational, "title", "text", {"Continue", "Cancel"}};
    }
    void show(ViewerAlert shown) {
        services_.alerts->show(std::move(shown),
                               [this](bool isFirstButton) { answers_.push_back(isFirstButton); });
    }
    /// Shows an alert that is answered by that button.
    void show(ViewerAlert shown, long button) {
        script_.answers.emplace_back([button] { return button; });
        show(std::move(shown));
        script_.runPerformed();
    }

    std::vector<bool> answers_;
};

TEST_F(ViewerAppKitAlertPanel, ItShowsItsStyleItsTextsAndItsButtonsInOrder) {
    show(alert(), ApplicationScript::firstButton);
    show({ViewerAlertStyle::warning, "Заголовок", "Текст…", {"Закрыть"}},
         ApplicationScript::firstButton);
    show({ViewerAlertStyle::critical, "", "", {"OK"}}, ApplicationScript::firstButton);
    EXPECT_THAT(
        script_.alerts,
        ElementsAre(ApplicationScript::Alert{1, "title", "text", {"Continue", "Cancel"}, "Cancel"},
                    ApplicationScript::Alert{0, "Заголовок", "Текст…", {"Закрыть"}},
                    ApplicationScript::Alert{2, "", "", {"OK"}}));
}

TEST_F(ViewerAppKitAlertPanel, ATextThatIsNoUnicodeIsShownEmpty) {
    show({ViewerAlertStyle::critical, "title", "\xff", {"OK"}}, ApplicationScript::firstButton);
    EXPECT_THAT(script_.alerts, ElementsAre(ApplicationScript::Alert{2, "title", "", {"OK"}}));
}

TEST_F(ViewerAppKitAlertPanel, TheEscapeKeyPressesTheSecondButtonWhateverItIsCalled) {
    show({ViewerAlertStyle::warning, "title", "text", {"Продолжить", "Отмена"}},
         ApplicationScript::secondButton);
    show({ViewerAlertStyle::critical, "title", "text", {"OK"}}, ApplicationScript::firstButton);
    ASSERT_EQ(script_.alerts.size(), 2U);
    EXPECT_EQ(script_.alerts[0].escapes, "Отмена");
    EXPECT_EQ(script_.alerts[1].escapes, "");
}

TEST_F(ViewerAppKitAlertPanel, OnlyTheFirstButtonIsTheFirst) {
    constexpr long thirdButton = 1002;
    constexpr long aborted = -1001;
    for (const long button :
         {ApplicationScript::firstButton, ApplicationScript::secondButton, thirdButton, aborted}) {
        show(alert(), button);
    }
    EXPECT_THAT(answers_, ElementsAre(true, false, false, false));
}

TEST_F(ViewerAppKitAlertPanel, ItIsShownByTheRunLoopAndNotWithinTheCall) {
    script_.answers.emplace_back([] { return ApplicationScript::firstButton; });
    show(alert());
    EXPECT_THAT(script_.alerts, IsEmpty());
    script_.runPerformed();
    EXPECT_THAT(answers_, ElementsAre(true));
}

TEST_F(ViewerAppKitAlertPanel, TheMainQueueGoesOnWhileItShows) {
    bool hasRun = false;
    script_.answers.emplace_back([&] {
        boost::asio::post(services_.executors->mainExecutor(), [&] { hasRun = true; });
        world_.settleInside();
        EXPECT_TRUE(hasRun);
        return ApplicationScript::secondButton;
    });
    // The gate asks within a function of the main queue.
    boost::asio::post(services_.executors->mainExecutor(), [this] { show(alert()); });
    script_.runPerformed();
    EXPECT_TRUE(hasRun);
    EXPECT_THAT(answers_, ElementsAre(false));
}

TEST_F(ViewerAppKitAlertPanel, ASignalMayCloseIt) {
    const auto source =
        services_.shell->makeSignalSource(SIGTERM, [this] { services_.alerts->close(); });
    script_.answers.emplace_back([] {
        FakeDispatchSources::raise(SIGTERM);
        return ApplicationScript::noButton;
    });
    show(alert());
    script_.runPerformed();
    EXPECT_THAT(answers_, ElementsAre(false));
}

TEST_F(ViewerAppKitAlertPanel, ATerminationWaitsForTheAlertAndDoesNotCloseIt) {
    script_.answers.emplace_back([this] {
        services_.shell->terminate();
        EXPECT_THAT(FrameworkCalls::take(), IsEmpty());
        return ApplicationScript::firstButton;
    });
    show(alert());
    script_.runPerformed();
    EXPECT_THAT(answers_, ElementsAre(true));
    EXPECT_THAT(FrameworkCalls::take(), ElementsAre("terminate cancelled"));
}

TEST_F(ViewerAppKitAlertPanel, ATerminationIsMadeOnce) {
    script_.answers = {[this] {
                           services_.shell->terminate();
                           services_.shell->terminate();
                           return ApplicationScript::firstButton;
                       },
                       [] { return ApplicationScript::firstButton; }};
    show(alert());
    show(alert());
    script_.runPerformed();
    EXPECT_THAT(answers_, ElementsAre(true, true));
    EXPECT_THAT(FrameworkCalls::take(), ElementsAre("terminate cancelled"));
}

TEST_F(ViewerAppKitAlertPanel, OneThatIsClosedBeforeItShowsIsNotShown) {
    show(alert());
    services_.alerts->close();
    script_.runPerformed();
    EXPECT_THAT(script_.alerts, IsEmpty());
    EXPECT_THAT(answers_, ElementsAre(false));
}

TEST_F(ViewerAppKitAlertPanel, ClosingNoneDoesNotCloseTheNext) {
    services_.alerts->close();
    show(alert(), ApplicationScript::firstButton);
    EXPECT_THAT(answers_, ElementsAre(true));
}

TEST_F(ViewerAppKitAlertPanel, AnAnswerMayShowTheNext) {
    script_.answers = {[] { return ApplicationScript::firstButton; },
                       [] { return ApplicationScript::secondButton; }};
    services_.alerts->show(alert(), [this](bool isFirstButton) {
        answers_.push_back(isFirstButton);
        show(alert());
    });
    script_.runPerformed();
    EXPECT_THAT(answers_, ElementsAre(true, false));
    EXPECT_EQ(script_.alerts.size(), 2U);
}

}  // namespace
}  // namespace velmora
