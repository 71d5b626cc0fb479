#include "core/capture/linux/imaging/ViewerPieceGrid.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <vector>

namespace velmora {
namespace {

constexpr std::int64_t unit = ViewerPieceGrid::unitSide;

TEST(ViewerPieceGrid, APieceIsAboutTenUnitsLongAndDividesTheRow) {
    const std::map<std::int64_t, std::int64_t> lengths{
        {40, 10}, {36, 9}, {35, 7}, {30, 10}, {34, 17}, {37, 37}, {29, 29},
        {13, 13}, {4, 4},  {1, 1},  {25, 5},  {68, 17}, {24, 8},  {15, 15}};
    for (const auto& [row, length] : lengths) {
        EXPECT_EQ(ViewerPieceGrid(row * unit, 1).pieceWidth(), length * unit) << row;
        EXPECT_EQ(ViewerPieceGrid(row * unit - 15, 1).pieceWidth(), length * unit) << row;
    }
}

TEST(ViewerPieceGrid, PiecesCoverEachPixelOfEverySizeOnceRowByRow) {
    for (std::int64_t width = 1; width <= 640; ++width) {
        for (const std::int64_t height : {1, 15, 16, 17, 360}) {
            const ViewerPieceGrid grid(width, height);
            std::int64_t x = 0;
            std::int64_t y = 0;
            for (std::size_t index = 0; index < grid.count(); ++index) {
                const ViewerRectangle piece = grid.piece(index);
                ASSERT_EQ(piece.x, x);
                ASSERT_EQ(piece.y, y);
                ASSERT_EQ(piece.width, std::min(grid.pieceWidth(), width - x));
                ASSERT_EQ(piece.height, std::min(unit, height - y));
                x = piece.right() % width;
                y += x == 0 ? piece.height : 0;
            }
            ASSERT_EQ(y, height);
        }
    }
}

TEST(ViewerPieceGrid, ThePiecesOfARectangleAreThoseThatShareAPixelWithIt) {
    std::mt19937 generator(1);
    for (int turn = 0; turn < 200; ++turn) {
        const auto upTo = [&](std::int64_t most) {
            return static_cast<std::int64_t>(generator() % static_cast<std::uint64_t>(most));
        };
        const ViewerPieceGrid grid(1 + upTo(640), 1 + upTo(360));
        ViewerRectangle part{upTo(grid.width()), upTo(grid.height()), 0, 0};
        part.width = 1 + upTo(grid.width() - part.x);
        part.height = 1 + upTo(grid.height() - part.y);
        std::vector<bool> isMeant(grid.count());
        const ViewerRectangle pieces = grid.piecesOf(part);
        for (std::int64_t row = pieces.y; row < pieces.bottom(); ++row) {
            for (std::int64_t column = pieces.x; column < pieces.right(); ++column) {
                isMeant[grid.indexOf(column, row)] = true;
            }
        }
        for (std::size_t index = 0; index < grid.count(); ++index) {
            ASSERT_EQ(isMeant[index], !intersection(grid.piece(index), part).isEmpty());
        }
    }
    EXPECT_TRUE(ViewerPieceGrid(640, 360).piecesOf({3, 4, 0, 0}).isEmpty());
}

}  // namespace
}  // namespace velmora
