#include "core/capture/linux/wayland/pipewire/ViewerPipeWireFrame.h"

#include <gtest/gtest.h>
#include <spa/buffer/meta.h>
#include <spa/param/video/raw.h>

#include <array>
#include <cstdint>
#include <vector>

namespace velmora {
namespace {

using Kind = ViewerPipeWireFrame::Kind;

constexpr std::int64_t width = 8;
constexpr std::int64_t height = 4;
constexpr std::uint32_t rowBytes = 40;
constexpr std::size_t places = 3;
const ViewerPipeWireFormat format{SPA_VIDEO_FORMAT_BGRx, width, height};

/// A buffer as PipeWire hands it over, whose memory is exactly as large as its picture.
struct Buffer final {
    Buffer() {
        chunk.size = static_cast<std::uint32_t>(memory.size());
        chunk.stride = rowBytes;
        data.type = SPA_DATA_MemFd;
        data.maxsize = chunk.size;
        data.chunk = &chunk;
        metas[0] = {SPA_META_Header, sizeof header, &header};
        metas[1] = {SPA_META_VideoDamage, sizeof damage, damage.data()};
        metas[2] = {SPA_META_VideoCrop, sizeof crop, &crop};
        metas[3] = {SPA_META_VideoTransform, sizeof transform, &transform};
        buffer = {static_cast<std::uint32_t>(metas.size()), 1, metas.data(), &data};
    }
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;

    ViewerPipeWireFrame read() const { return ViewerPipeWireFrame::in(buffer, memory, format); }
    void tell(std::size_t place, const spa_region& region) { damage.at(place).region = region; }

    std::array<std::uint8_t, rowBytes*(height - 1) + width * 4> memory{};
    spa_chunk chunk{};
    spa_data data{};
    spa_meta_header header{};
    std::array<spa_meta_region, places> damage{};
    spa_meta_region crop{};
    spa_meta_videotransform transform{};
    std::array<spa_meta, 4> metas{};
    spa_buffer buffer{};
};

TEST(ViewerPipeWireFrame, APictureIsWhatTheBufferSays) {
    const Buffer buffer;

    const ViewerPipeWireFrame frame = buffer.read();

    EXPECT_EQ(frame.kind, Kind::picture);
    EXPECT_EQ(frame.pixels, buffer.memory.data());
    EXPECT_EQ(frame.bytesPerRow, rowBytes);
    EXPECT_EQ(frame.shown, (ViewerRectangle{0, 0, width, height}));
    EXPECT_TRUE(frame.transform.isNone());
    EXPECT_FALSE(frame.damage.has_value());
}

TEST(ViewerPipeWireFrame, ABufferWithoutMetadataIsAPictureToo) {
    Buffer buffer;
    buffer.buffer.n_metas = 0;

    EXPECT_EQ(buffer.read().kind, Kind::picture);
}

TEST(ViewerPipeWireFrame, ACropAboveThePictureIsBroken) {
    Buffer buffer;
    buffer.crop.region = {{0, -1}, {2, 2}};

    EXPECT_EQ(buffer.read().kind, Kind::broken);
}

TEST(ViewerPipeWireFrame, DamageWithoutAPlaceIsNotTold) {
    Buffer buffer;
    buffer.metas[1].data = nullptr;

    const ViewerPipeWireFrame frame = buffer.read();

    EXPECT_EQ(frame.kind, Kind::picture);
    EXPECT_FALSE(frame.damage.has_value());
}

TEST(ViewerPipeWireFrame, AnEmptyBufferIsNoPicture) {
    Buffer empty;
    empty.chunk.size = 0;
    EXPECT_EQ(empty.read().kind, Kind::none);
    Buffer bare;
    bare.buffer.n_datas = 0;
    EXPECT_EQ(bare.read().kind, Kind::none);
    Buffer gap;
    gap.header.flags = SPA_META_HEADER_FLAG_GAP;
    EXPECT_EQ(gap.read().kind, Kind::none);
    Buffer withoutChunk;
    withoutChunk.data.chunk = nullptr;
    EXPECT_EQ(withoutChunk.read().kind, Kind::none);
}

TEST(ViewerPipeWireFrame, ABufferThatSaysSoIsBroken) {
    Buffer byHeader;
    byHeader.header.flags = SPA_META_HEADER_FLAG_CORRUPTED;
    EXPECT_EQ(byHeader.read().kind, Kind::broken);
    Buffer byChunk;
    byChunk.chunk.flags = SPA_CHUNK_FLAG_CORRUPTED;
    EXPECT_EQ(byChunk.read().kind, Kind::broken);
    Buffer turned;
    turned.transform.transform = 8;
    EXPECT_EQ(turned.read().kind, Kind::broken);
}

TEST(ViewerPipeWireFrame, NothingOutsideTheMemoryIsAPicture) {
    const auto isBroken = [](std::uint32_t offset, std::uint32_t size, std::int32_t stride) {
        Buffer buffer;
        buffer.chunk.offset = offset;
        buffer.chunk.size = size;
        buffer.chunk.stride = stride;
        return buffer.read().kind == Kind::broken;
    };
    const auto all = static_cast<std::uint32_t>(Buffer().memory.size());
    constexpr std::uint32_t huge = 0xffffffff;

    EXPECT_FALSE(isBroken(0, all, rowBytes));
    EXPECT_FALSE(isBroken(4, huge, rowBytes - 4));
    EXPECT_TRUE(isBroken(0, all - 1, rowBytes));
    EXPECT_TRUE(isBroken(1, all, rowBytes));
    EXPECT_TRUE(isBroken(1, huge, rowBytes));
    EXPECT_TRUE(isBroken(huge, huge, rowBytes));
    EXPECT_TRUE(isBroken(0, huge, rowBytes + 1));
    EXPECT_TRUE(isBroken(0, huge, 0x7fffffff));
    EXPECT_TRUE(isBroken(0, all, width * 4 - 1));
    EXPECT_TRUE(isBroken(0, all, 0));
    EXPECT_TRUE(isBroken(0, all, -static_cast<std::int32_t>(rowBytes)));
}

TEST(ViewerPipeWireFrame, ABufferWithoutMemoryIsBroken) {
    const Buffer buffer;

    EXPECT_EQ(ViewerPipeWireFrame::in(buffer.buffer, {}, format).kind, Kind::broken);
}

TEST(ViewerPipeWireFrame, OnlyAPartOfThePictureCanBeShown) {
    Buffer buffer;
    buffer.crop.region = {{2, 1}, {6, 3}};
    EXPECT_EQ(buffer.read().shown, (ViewerRectangle{2, 1, 6, 3}));

    for (const spa_region outside :
         {spa_region{{3, 1}, {6, 3}}, spa_region{{-1, 0}, {4, 4}},
          spa_region{{0, 0}, {0xffffffff, 1}}, spa_region{{0, 2}, {4, 3}}}) {
        buffer.crop.region = outside;
        EXPECT_EQ(buffer.read().kind, Kind::broken);
    }
}

TEST(ViewerPipeWireFrame, DamageEndsAtTheFirstEmptyRegion) {
    Buffer buffer;
    buffer.tell(0, {{1, 1}, {2, 2}});
    buffer.tell(2, {{0, 0}, {1, 1}});

    EXPECT_EQ(buffer.read().damage, std::vector<ViewerRectangle>({{1, 1, 2, 2}}));
}

TEST(ViewerPipeWireFrame, DamageThatMayBeIncompleteOrWrongIsNone) {
    Buffer full;
    for (std::size_t place = 0; place < places; ++place) {
        full.tell(place, {{0, 0}, {1, 1}});
    }
    EXPECT_FALSE(full.read().damage.has_value());
    for (const spa_region outside :
         {spa_region{{7, 1}, {2, 2}}, spa_region{{-1, 0}, {1, 1}}, spa_region{{7, 7}, {1, 1}},
          spa_region{{0x7fffffff, 0x7fffffff}, {0xffffffff, 0xffffffff}}}) {
        Buffer buffer;
        buffer.tell(0, outside);
        EXPECT_EQ(buffer.read().kind, Kind::picture);
        EXPECT_FALSE(buffer.read().damage.has_value());
    }
}

TEST(ViewerPipeWireFrame, WhereThereIsRoomForOneRegionThatIsAllOfTheDamage) {
    Buffer buffer;
    buffer.metas[1].size = sizeof(spa_meta_region);
    buffer.tell(0, {{1, 1}, {2, 2}});

    EXPECT_EQ(buffer.read().damage, std::vector<ViewerRectangle>({{1, 1, 2, 2}}));
}

TEST(ViewerPipeWireFrame, MetadataThatIsTooShortCountsForNothing) {
    Buffer buffer;
    buffer.header.flags = SPA_META_HEADER_FLAG_CORRUPTED;
    buffer.crop.region = {{2, 1}, {6, 3}};
    buffer.tell(0, {{1, 1}, {2, 2}});
    for (spa_meta& each : buffer.metas) {
        each.size = 1;
    }

    const ViewerPipeWireFrame frame = buffer.read();

    EXPECT_EQ(frame.kind, Kind::picture);
    EXPECT_EQ(frame.shown, (ViewerRectangle{0, 0, width, height}));
    EXPECT_FALSE(frame.damage.has_value());
}

}  // namespace
}  // namespace velmora
