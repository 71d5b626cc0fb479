#include "core/capture/linux/ViewerCollation.h"

#include <unicode/ucol.h>

#include <cstdint>

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

ViewerCollation::ViewerCollation(const std::string& locale) : collator_(makeCollator(locale)) {}

void ViewerCollation::Closing::operator()(UCollator* collator) const {
    ucol_close(collator);
}

bool ViewerCollation::isAscending(const std::string& a, const std::string& b) const {
    UErrorCode status = U_ZERO_ERROR;
    const UCollationResult result =
        ucol_strcollUTF8(collator_.get(), a.data(), static_cast<std::int32_t>(a.size()), b.data(),
                         static_cast<std::int32_t>(b.size()), &status);
    return U_SUCCESS(status) != 0 && result == UCOL_LESS;
}

}  // namespace velmora
