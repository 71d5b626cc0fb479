#include "viewerctl/ViewerTerminalCanvas.h"

#include <chafa.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace velmora {

namespace {

/// Of a picture told pixel by pixel: more only makes more bytes of it.
constexpr int largestScale = 2;

std::shared_ptr<ChafaTermInfo> terminalOfEnvironment() {
    ChafaTermDb* const known = ::chafa_term_db_get_default();
    const std::shared_ptr<ChafaTermInfo> terminal(::chafa_term_db_detect(known, ::environ),
                                                  &::chafa_term_info_unref);
    return terminal;
}

/// What the terminal does not know is told as others know it.
std::shared_ptr<ChafaTermInfo> supplemented(const ChafaTermInfo& terminal) {
    const std::shared_ptr<ChafaTermInfo> whole(::chafa_term_info_copy(&terminal),
                                               &::chafa_term_info_unref);
    ChafaTermInfo* const others = ::chafa_term_db_get_fallback_info(::chafa_term_db_get_default());
    ::chafa_term_info_supplement(whole.get(), others);
    ::chafa_term_info_unref(others);
    return whole;
}

/// tmux and GNU screen pass no pictures on, whatever the terminal around them knows.
bool isWithinMultiplexer() {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing changes the environment.
    return std::getenv("TMUX") != nullptr || std::getenv("STY") != nullptr;
}

ViewerPictureFormat bestFormat(const ChafaTermInfo& terminal) {
    const auto knows = [&](ChafaTermSeq sequence) {
        return ::chafa_term_info_have_seq(&terminal, sequence) != 0;
    };
    if (isWithinMultiplexer()) {
        return ViewerPictureFormat::symbols;
    }
    if (knows(CHAFA_TERM_SEQ_BEGIN_KITTY_IMMEDIATE_IMAGE_V1)) {
        return ViewerPictureFormat::kitty;
    }
    if (knows(CHAFA_TERM_SEQ_BEGIN_SIXELS)) {
        return ViewerPictureFormat::sixel;
    }
    return knows(CHAFA_TERM_SEQ_BEGIN_ITERM2_IMAGE) ? ViewerPictureFormat::iTerm
                                                    : ViewerPictureFormat::symbols;
}

ChafaCanvasMode bestMode(const ChafaTermInfo& terminal) {
    const auto knows = [&](ChafaTermSeq sequence) {
        return ::chafa_term_info_have_seq(&terminal, sequence) != 0;
    };
    if (knows(CHAFA_TERM_SEQ_SET_COLOR_FGBG_DIRECT)) {
        return CHAFA_CANVAS_MODE_TRUECOLOR;
    }
    if (knows(CHAFA_TERM_SEQ_SET_COLOR_FGBG_256)) {
        return CHAFA_CANVAS_MODE_INDEXED_240;
    }
    if (knows(CHAFA_TERM_SEQ_SET_COLOR_FGBG_16)) {
        return CHAFA_CANVAS_MODE_INDEXED_16;
    }
    return knows(CHAFA_TERM_SEQ_SET_COLOR_FGBG_8) ? CHAFA_CANVAS_MODE_INDEXED_8
                                                  : CHAFA_CANVAS_MODE_FGBG_BGFG;
}

ChafaPixelMode pixelModeOf(ViewerPictureFormat format) {
    switch (format) {
        case ViewerPictureFormat::kitty:
            return CHAFA_PIXEL_MODE_KITTY;
        case ViewerPictureFormat::iTerm:
            return CHAFA_PIXEL_MODE_ITERM2;
        case ViewerPictureFormat::sixel:
            return CHAFA_PIXEL_MODE_SIXELS;
        case ViewerPictureFormat::symbols:
            return CHAFA_PIXEL_MODE_SYMBOLS;
    }
    std::abort();
}

std::string moveTo(int row, int column) {
    return "\033[" + std::to_string(row) + ";" + std::to_string(column) + "H";
}

/// Blocks of half a cell and a quarter.
std::shared_ptr<ChafaSymbolMap> blocks() {
    const std::shared_ptr<ChafaSymbolMap> map(::chafa_symbol_map_new(), &::chafa_symbol_map_unref);
    for (const ChafaSymbolTags tag :
         {CHAFA_SYMBOL_TAG_SPACE, CHAFA_SYMBOL_TAG_HALF, CHAFA_SYMBOL_TAG_QUAD}) {
        ::chafa_symbol_map_add_by_tags(map.get(), tag);
    }
    return map;
}

}  // namespace

ViewerTerminalCanvas::ViewerTerminalCanvas(std::optional<ViewerPictureFormat> wanted)
    : terminal_(supplemented(*terminalOfEnvironment())),
      format_(wanted ? *wanted : bestFormat(*terminalOfEnvironment())) {
    ::chafa_set_n_threads(1);
}

ViewerTerminalCanvas::Place ViewerTerminalCanvas::placeOf(const ViewerDecodedPicture& picture,
                                                          const ViewerTerminalSize& area,
                                                          int firstRow) const {
    int columns = area.columns;
    int rows = area.rows;
    if (format_ != ViewerPictureFormat::symbols) {
        columns = std::min(columns, largestScale * picture.width / area.cellWidth + 1);
        rows = std::min(rows, largestScale * picture.height / area.cellHeight + 1);
    }
    const float ratio = static_cast<float>(area.cellWidth) / static_cast<float>(area.cellHeight);
    ::chafa_calc_canvas_geometry(picture.width, picture.height, &columns, &rows, ratio, TRUE,
                                 FALSE);
    columns = std::clamp(columns, 1, area.columns);
    rows = std::clamp(rows, 1, area.rows);
    return {1 + (area.columns - columns) / 2, firstRow + (area.rows - rows) / 2, columns, rows};
}

std::string ViewerTerminalCanvas::print(const ViewerDecodedPicture& picture,
                                        const ViewerTerminalSize& area, const Place& place) const {
    const std::shared_ptr<ChafaCanvasConfig> config(::chafa_canvas_config_new(),
                                                    &::chafa_canvas_config_unref);
    ::chafa_canvas_config_set_pixel_mode(config.get(), pixelModeOf(format_));
    ::chafa_canvas_config_set_canvas_mode(config.get(), format_ == ViewerPictureFormat::symbols
                                                            ? bestMode(*terminal_)
                                                            : CHAFA_CANVAS_MODE_TRUECOLOR);
    ::chafa_canvas_config_set_geometry(config.get(), place.columns, place.rows);
    ::chafa_canvas_config_set_cell_geometry(config.get(), area.cellWidth, area.cellHeight);
    ::chafa_canvas_config_set_symbol_map(config.get(), blocks().get());
    const std::shared_ptr<ChafaCanvas> canvas(::chafa_canvas_new(config.get()),
                                              &::chafa_canvas_unref);
    constexpr int channels = 3;
    ::chafa_canvas_draw_all_pixels(canvas.get(), CHAFA_PIXEL_RGB8, picture.pixels.data(),
                                   picture.width, picture.height, picture.width * channels);
    GString* const printed = ::chafa_canvas_print(canvas.get(), terminal_.get());
    std::string text(printed->str, printed->len);
    (void)(::g_string_free)(printed, TRUE);  // newer GLibs have a macro of that name
    return text;
}

std::string ViewerTerminalCanvas::draw(const ViewerDecodedPicture& picture,
                                       const ViewerTerminalSize& area, int firstRow) const {
    const Place place = placeOf(picture, area, firstRow);
    const std::string printed = print(picture, area, place);
    if (format_ == ViewerPictureFormat::kitty) {
        // The one before stays in the terminal's memory otherwise.
        return "\033_Ga=d,d=A,q=2\033\\" + moveTo(place.row, place.column) + printed;
    }
    if (format_ != ViewerPictureFormat::symbols) {
        return moveTo(place.row, place.column) + printed;
    }
    std::string text;
    int row = place.row;
    for (std::string_view left = printed; !left.empty(); ++row) {
        const std::size_t end = std::min(left.find('\n'), left.size());
        text += moveTo(row, place.column);
        text += left.substr(0, end);
        left.remove_prefix(std::min(end + 1, left.size()));
    }
    return text;
}

}  // namespace velmora
