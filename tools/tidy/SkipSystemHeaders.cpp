#include <clang-tidy/ClangTidyCheck.h>
#include <clang-tidy/ClangTidyModule.h>
#include <clang-tidy/ClangTidyModuleRegistry.h>
#include <clang/AST/ASTContext.h>
#include <clang/ASTMatchers/ASTMatchFinder.h>
#include <clang/ASTMatchers/ASTMatchers.h>
#include <clang/Basic/SourceManager.h>

#include <vector>

namespace velmora {
namespace {

namespace matchers = clang::ast_matchers;
namespace tidy = clang::tidy;

/// The checks walk through every declaration that a source has read, nearly all of it the system's,
/// and drop what they find there. With this one they walk through ours alone.
class SkipSystemHeaders final : public tidy::ClangTidyCheck {
  public:
    using ClangTidyCheck::ClangTidyCheck;

    void registerMatchers(matchers::MatchFinder* finder) override {
        finder->addMatcher(matchers::translationUnitDecl().bind("unit"), this);
    }

    /// The walk comes to the unit as a whole first, and asks only then what of it is in its scope.
    void check(const matchers::MatchFinder::MatchResult& result) override {
        const auto* const unit = result.Nodes.getNodeAs<clang::TranslationUnitDecl>("unit");
        const clang::SourceManager& sources = *result.SourceManager;
        std::vector<clang::Decl*> ours;
        for (clang::Decl* const each : unit->decls()) {
            const clang::SourceLocation place = sources.getExpansionLoc(each->getLocation());
            if (place.isValid() && !sources.isInSystemHeader(place)) {
                ours.push_back(each);
            }
        }
        result.Context->setTraversalScope(ours);
    }
};

class Module final : public tidy::ClangTidyModule {
  public:
    void addCheckFactories(tidy::ClangTidyCheckFactories& factories) override {
        // Some checks walk by themselves when the walk comes to the unit. A check's place among the
        // others depends on its name; with this one they come after it.
        factories.registerCheck<SkipSystemHeaders>("viewer-skip-system-headers");
    }
};

const tidy::ClangTidyModuleRegistry::Add<Module> registration("viewer", "");

}  // namespace
}  // namespace velmora
