#include <array>
#include <chrono>
#include <cstdio>
#include <string_view>
#include <utility>

#include "viewerctl/ViewerMetricsCommand.h"

namespace velmora::ViewerMetrics {

namespace {

/// Writes metrics one after the other.
class Page final {
  public:
    Page& metric(std::string_view name, std::string_view kind, std::string_view about) {
        name_ = std::string("velmora_").append(name);
        text_.append("# HELP ").append(name_).append(" ").append(about).append("\n");
        text_.append("# TYPE ").append(name_).append(" ").append(kind).append("\n");
        return *this;
    }
    /// `labels` are written with their braces.
    Page& sample(std::string_view value, std::string_view labels = "") {
        text_.append(name_).append(labels).append(" ").append(value).append("\n");
        return *this;
    }
    Page& sample(std::uint64_t value) { return sample(std::to_string(value)); }
    Page& sample(std::chrono::microseconds time) {
        std::array<char, 32> text{};
        (void)std::snprintf(text.data(), text.size(), "%.6f",
                            std::chrono::duration<double>(time).count());  // always fits
        return sample(std::string_view(text.data()));
    }

    std::string text() && { return std::move(text_); }

  private:
    std::string name_;
    std::string text_;
};

/// A label's value as it is written between quotes.
std::string escaped(std::string_view value) {
    std::string text;
    for (const char character : value) {
        if (character == '\n') {
            text += "\\n";
            continue;
        }
        if (character == '\\' || character == '"') {
            text += '\\';
        }
        text += character;
    }
    return text;
}

void addListing(Page& page, const ViewerHostDisplayListing& listing) {
    page.metric("displays", "gauge", "Displays that the host lists.")
        .sample(listing.displays.size());
    page.metric("host_info", "gauge", "The host's own name.")
        .sample("1", "{machine=\"" + escaped(listing.machineName) + "\"}");
}

}  // namespace

std::string ofProbe(const ViewerTransfer& transfer) {
    const auto listing = transfer.failure
                             ? ViewerOutcome<ViewerHostDisplayListing>(*transfer.failure)
                             : ViewerAnswerCheck::listing(transfer.head, transfer.body);
    Page page;
    page.metric("up", "gauge", "Whether the host answered as a Viewer Host does.")
        .sample(listing ? "1" : "0");
    if (!listing) {
        page.metric("probe_failure_info", "gauge", "Why the host did not answer so.")
            .sample("1", std::string("{reason=\"").append(wordOf(listing.failure())) + "\"}");
    }
    const ViewerTimings& timings = transfer.timings;
    page.metric("probe_lookup_seconds", "gauge", "Time to look the name up.")
        .sample(timings.lookUp);
    page.metric("probe_connect_seconds", "gauge", "Time to connect, 0 without a connection.")
        .sample(timings.connect);
    page.metric("probe_first_byte_seconds", "gauge",
                "Time to the first byte of the answer, 0 without one.")
        .sample(timings.firstByte);
    page.metric("probe_duration_seconds", "gauge", "Time of the whole request, look-up left out.")
        .sample(timings.total);
    page.metric("probe_answer_bytes", "gauge", "Length of the answer, its head included.")
        .sample(transfer.head.size() + transfer.body.size());
    if (listing) {
        addListing(page, *listing);
    }
    return std::move(page).text();
}

std::string ofExporter(std::uint64_t probes, std::uint64_t failedProbes) {
    Page page;
    page.metric("exporter_probes_total", "counter", "Probes since the exporter's start.")
        .sample(probes);
    page.metric("exporter_failed_probes_total", "counter",
                "Probes that no Viewer Host answered, since the exporter's start.")
        .sample(failedProbes);
    return std::move(page).text();
}

}  // namespace velmora::ViewerMetrics
