#pragma once

#include <functional>
#include <memory>
#include <string>

struct UCollator;

namespace velmora {

/// The order of names for a reader of one locale: letter case counts for nothing, digits count by
/// their value. Holds an ICU collator of about 5 MB. Any thread.
class ViewerLocalizedOrder final {
  public:
    /// Reads an environment variable; null when it is not set.
    using Environment = std::function<const char*(const char*)>;

    /// `locale` is in ICU's or POSIX's spelling. The empty one, and one that ICU refuses, is the
    /// root: the order that fits most languages.
    explicit ViewerLocalizedOrder(const std::string& locale);

    /// Whether `a` comes before `b`. Bytes that are not UTF-8 count as U+FFFD.
    bool isAscending(const std::string& a, const std::string& b) const;

    /// The same by the process's locale. The collator is made when it is first needed.
    static bool comesBefore(const std::string& a, const std::string& b);

    /// The locale of the first non-empty of LC_ALL, LC_COLLATE and LANG. The root where there is
    /// none, and where it is C or POSIX: ICU would sort those by byte.
    static std::string environmentLocale(const Environment& environment);

  private:
    struct Closing final {
        void operator()(UCollator* collator) const;
    };

    const std::unique_ptr<UCollator, Closing> collator_;
};

}  // namespace velmora
