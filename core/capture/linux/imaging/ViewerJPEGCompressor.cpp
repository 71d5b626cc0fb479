#include "core/capture/linux/imaging/ViewerJPEGCompressor.h"

// jpeglib.h includes nothing of what it needs.
#include <cstdio>

#include <jpeglib.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <csetjmp>
#include <cstring>

#include "core/runtime/ViewerMemoryLack.h"

namespace velmora {

namespace {

constexpr int lowestQuality = 1;
constexpr int highestQuality = 100;
constexpr int unitRows = static_cast<int>(ViewerPieceGrid::unitSide);
constexpr int chromaRows = unitRows / 2;

constexpr std::uint8_t frameMarker = 0xC0;
constexpr std::uint8_t scanMarker = 0xDA;
constexpr std::size_t markerBytes = 2;
/// Behind the marker, the length and the precision of a frame's segment.
constexpr std::size_t heightInFrame = 5;
constexpr std::size_t widthInFrame = 7;

int libraryQuality(double quality) {
    return lowestQuality +
           static_cast<int>(std::lround(quality * (highestQuality - lowestQuality)));
}

/// The most that a JPEG of so many pieces may take: TurboJPEG's bound for 4:2:0, and the ends of
/// the pieces.
std::size_t roomFor(const ViewerPieceGrid& grid, std::size_t pieces) {
    constexpr std::size_t bytesPerPixel = 3;
    constexpr std::size_t headBytes = 2048;
    constexpr std::size_t endBytes = 4;
    const auto pixels = static_cast<std::size_t>(grid.pieceWidth() * ViewerPieceGrid::unitSide);
    return headBytes + pieces * (pixels * bytesPerPixel + endBytes);
}

/// Hands one row of units to the library.
void writeUnits(jpeg_compress_struct& compression, ViewerYUVPlanes& planes) {
    std::array<JSAMPROW, unitRows> luma{};
    std::array<JSAMPROW, chromaRows> blueDifference{};
    std::array<JSAMPROW, chromaRows> redDifference{};
    for (std::size_t row = 0; row < luma.size(); ++row) {
        luma[row] = &planes.luma()[row * planes.lumaWidth()];
    }
    for (std::size_t row = 0; row < blueDifference.size(); ++row) {
        blueDifference[row] = &planes.blueDifference()[row * planes.chromaWidth()];
        redDifference[row] = &planes.redDifference()[row * planes.chromaWidth()];
    }
    std::array<JSAMPARRAY, 3> rows{luma.data(), blueDifference.data(), redDifference.data()};
    (void)jpeg_write_raw_data(&compression, rows.data(), unitRows);  // all of them, or it refuses
}

std::size_t lengthAt(std::span<const std::uint8_t> jpeg, std::size_t place) {
    return std::size_t{jpeg[place]} << 8 | jpeg[place + 1];
}

/// Where the segment after the one at `place` begins.
std::size_t nextSegment(std::span<const std::uint8_t> jpeg, std::size_t place) {
    return place + markerBytes + lengthAt(jpeg, place + markerBytes);
}

void writeSide(std::span<std::uint8_t> place, std::int64_t side) {
    place[0] = static_cast<std::uint8_t>(side >> 8);
    place[1] = static_cast<std::uint8_t>(side);
}

}  // namespace

/// One compression object of the library's, which leaves a call that it refuses by a jump.
struct ViewerJPEGCompressor::Library final {
    /// Which pieces become a JPEG, and where it goes.
    struct Pass final {
        const ViewerPixelBuffer& picture;
        const ViewerPieceGrid& grid;
        std::span<const std::size_t> pieces;
        int quality;
        std::span<std::uint8_t> output;
    };

    Library() {
        compression.err = jpeg_std_error(&errors);
        compression.client_data = this;
        errors.error_exit = [](j_common_ptr object) { refuse(object); };
        errors.emit_message = [](j_common_ptr, int) {};
        destination.init_destination = [](j_compress_ptr) {};
        destination.empty_output_buffer = [](j_compress_ptr object) -> boolean {
            refuse(reinterpret_cast<j_common_ptr>(object));
        };
        destination.term_destination = [](j_compress_ptr) {};
    }
    ~Library() { jpeg_destroy_compress(&compression); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    [[noreturn]] static void refuse(j_common_ptr object) {
        std::longjmp(static_cast<Library*>(object->client_data)->refusal, 1);
    }

    /// Prepares for an image in which the pieces stand one below the other.
    void setUp(const Pass& pass) {
        if (compression.mem == nullptr) {
            jpeg_CreateCompress(&compression, JPEG_LIB_VERSION, sizeof compression);
        }
        // What a lack of memory in the midst of another one has left.
        jpeg_abort_compress(&compression);
        destination.next_output_byte = pass.output.data();
        destination.free_in_buffer = pass.output.size();
        compression.dest = &destination;
        compression.image_width = static_cast<JDIMENSION>(pass.grid.pieceWidth());
        compression.image_height = static_cast<JDIMENSION>(pass.pieces.size()) * unitRows;
        compression.input_components = 3;
        compression.in_color_space = JCS_YCbCr;
        jpeg_set_defaults(&compression);
        jpeg_set_quality(&compression, pass.quality, TRUE);
        compression.raw_data_in = TRUE;
        // Not slower than the less exact one.
        compression.dct_method = JDCT_ISLOW;
        compression.restart_interval = static_cast<unsigned>(pass.grid.pieceWidth()) / unitRows;
    }

    /// The length of the JPEG, or 0 when the library refuses, which it does for want of memory. No
    /// call below has anything to destroy while the library may jump.
    std::size_t compress(const Pass& pass, ViewerYUVPlanes& planes) {
        if (setjmp(refusal) != 0) {
            jpeg_abort_compress(&compression);
            return 0;
        }
        setUp(pass);
        jpeg_start_compress(&compression, TRUE);
        for (const std::size_t piece : pass.pieces) {
            planes.convert(pass.picture, pass.grid.piece(piece));
            writeUnits(compression, planes);
        }
        jpeg_finish_compress(&compression);
        return pass.output.size() - destination.free_in_buffer;
    }

    jpeg_compress_struct compression{};
    jpeg_error_mgr errors{};
    jpeg_destination_mgr destination{};
    std::jmp_buf refusal{};
};

ViewerJPEGCompressor::ViewerJPEGCompressor() = default;
ViewerJPEGCompressor::~ViewerJPEGCompressor() = default;

std::optional<ViewerJPEGCompressor::Parts> ViewerJPEGCompressor::compress(
    const ViewerPixelBuffer& picture, const ViewerPieceGrid& grid,
    std::span<const std::size_t> pieces, double quality) {
    const auto rows = static_cast<std::int64_t>(pieces.size()) * unitRows;
    if (std::max({grid.width(), grid.height(), rows}) > JPEG_MAX_DIMENSION) {
        return std::nullopt;
    }
    if (!library_) {
        library_ = std::make_unique<Library>();
    }
    const std::size_t room = roomFor(grid, pieces.size());
    if (room > output_.size) {
        output_ = {std::make_unique_for_overwrite<std::uint8_t[]>(room), room};
    }
    const std::size_t length = library_->compress(
        {picture, grid, pieces, libraryQuality(quality), {output_.bytes.get(), room}}, planes_);
    if (length == 0) {
        throw ViewerMemoryLack();
    }
    return partsOf({output_.bytes.get(), length}, grid);
}

ViewerJPEGCompressor::Parts ViewerJPEGCompressor::partsOf(std::span<std::uint8_t> jpeg,
                                                          const ViewerPieceGrid& grid) {
    std::size_t segment = markerBytes;
    while (jpeg[segment + 1] != scanMarker) {
        if (jpeg[segment + 1] == frameMarker) {
            writeSide(jpeg.subspan(segment + heightInFrame), grid.height());
            writeSide(jpeg.subspan(segment + widthInFrame), grid.width());
        }
        segment = nextSegment(jpeg, segment);
    }
    const std::size_t headLength = nextSegment(jpeg, segment);
    findPieces(jpeg.subspan(headLength));
    return {jpeg.first(headLength), pieces_};
}

void ViewerJPEGCompressor::findPieces(std::span<const std::uint8_t> scan) {
    pieces_.clear();
    const std::uint8_t* const end = scan.data() + scan.size();
    const std::uint8_t* piece = scan.data();
    for (const std::uint8_t* place = piece; place != end; place += markerBytes) {
        // There is always one more: the JPEG's end is a marker, too.
        place = static_cast<const std::uint8_t*>(
            std::memchr(place, markerPrefix, static_cast<std::size_t>(end - place)));
        const bool isMarker = place[1] != 0;
        if (isMarker) {
            pieces_.emplace_back(piece, place);
            piece = place + markerBytes;
        }
    }
}

}  // namespace velmora
