#include "core/capture/linux/ViewerLocalizedOrder.h"

#include <unicode/ucol.h>

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

constexpr const char* rootLocale = "";

UCollator* open(const char* locale) {
    UErrorCode status = U_ZERO_ERROR;
    UCollator* collator = ucol_open(locale, &status);
    return U_SUCCESS(status) != 0 ? collator : nullptr;
}

UCollator* makeCollator(const std::string& locale) {
    UCollator* collator = open(locale.c_str());
    if (collator == nullptr) {
        collator = open(rootLocale);
    }
    viewerCheck(collator != nullptr, "ICU has no root collation");
    UErrorCode status = U_ZERO_ERROR;
    ucol_setAttribute(collator, UCOL_NUMERIC_COLLATION, UCOL_ON, &status);
    ucol_setStrength(collator, UCOL_SECONDARY);
    viewerCheck(U_SUCCESS(status) != 0, "ICU refuses numeric order");
    return collator;
}

}  // namespace

ViewerLocalizedOrder::ViewerLocalizedOrder(const std::string& locale)
    : collator_(makeCollator(locale)) {}

void ViewerLocalizedOrder::Closing::operator()(UCollator* collator) const {
    ucol_close(collator);
}

bool ViewerLocalizedOrder::isAscending(const std::string& a, const std::string& b) const {
    UErrorCode status = U_ZERO_ERROR;
    const UCollationResult result =
        ucol_strcollUTF8(collator_.get(), a.data(), static_cast<std::int32_t>(a.size()), b.data(),
                         static_cast<std::int32_t>(b.size()), &status);
    return U_SUCCESS(status) != 0 && result == UCOL_LESS;
}

bool ViewerLocalizedOrder::comesBefore(const std::string& a, const std::string& b) {
    // Never changed once it is made, so that any number of threads may compare with it.
    static const ViewerLocalizedOrder current(environmentLocale([](const char* name) {
        return std::getenv(name);  // NOLINT(concurrency-mt-unsafe): the host sets no variables
    }));
    return current.isAscending(a, b);
}

std::string ViewerLocalizedOrder::environmentLocale(const Environment& environment) {
    for (const char* name : {"LC_ALL", "LC_COLLATE", "LANG"}) {
        const char* value = environment(name);
        if (value == nullptr || *value == '\0') {
            continue;
        }
        const std::string locale(value);
        // The encoding and the modifier say nothing about what POSIX's own locale means.
        const std::string language = locale.substr(0, locale.find_first_of(".@"));
        return language == "C" || language == "POSIX" ? rootLocale : locale;
    }
    return rootLocale;
}

}  // namespace velmora
