#pragma once

#include <lumaro/graphics/ColorImage.h>
#include <lumaro/graphics/DepthImage.h>
#include <lumaro/graphics/PanoramaLoader.h>

#include <array>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace Graphics {

/// A panorama read from image files: an equirectangular colour image (PNG, JPEG, ...) with an
/// optional equirectangular distance image (Radiance HDR, distances from the centre in object
/// units; zero, negative or non-finite texels mean "not measured" and lie beyond everything), or
/// six cube faces (+x, -x, +y, -y, +z, -z, each seen from the centre with z up, or with -y up for
/// +z and +y up for -z as in the cross layout).
///
/// The finest level is the image's own resolution; each coarser level halves it, down to tiles of
/// 8 texels or four levels, whichever comes first. Only the files' headers are read when the
/// loader is made; the images are decoded when the first tile is asked for, and tiles are cut
/// (averaging colours over each texel's footprint, taking the nearest distance sample) when they
/// are asked for, on the loading thread.
///
/// Give it to Render::PanoRenderable::create. As for every PanoramaLoader, the layout queries may
/// be called from any thread and the tiles are loaded by one loading thread at a time.
class ImagePanoramaLoader : public PanoramaLoader {
public:
    /// A panorama of one equirectangular colour image, with distances when `distance` names an
    /// image, cut into `tileRows` x `tileColumns` tiles a level. Throws std::runtime_error naming
    /// the file when an image cannot be read, and std::invalid_argument naming the files or values
    /// for a distance image of another aspect ratio, a grid of more than 48 tiles, faces that are
    /// not squares of one size.
    static std::shared_ptr<ImagePanoramaLoader>
    equirectangular(const std::filesystem::path& color, const std::optional<std::filesystem::path>& distance = {},
                    std::size_t tileRows = 4, std::size_t tileColumns = 8);
    /// A panorama of six cube faces in the order +x, -x, +y, -y, +z, -z, each cut into
    /// `tilesPerSide` x `tilesPerSide` tiles a level; throws as equirectangular does.
    static std::shared_ptr<ImagePanoramaLoader> cubeMap(const std::array<std::filesystem::path, 6>& faces,
                                                        std::size_t tilesPerSide = 2);

    /// The colour tile, cut from the decoded image (decoded at the first call). Throws
    /// std::out_of_range naming a tile that is not part of the layout, and std::runtime_error naming
    /// a file that can no longer be read.
    ColorImage loadColorTile(TileId tile) override;
    /// The distance tile, the same way; a loader without a distance image has no depth tiles.
    DepthImage loadDepthTile(TileId tile) override;

private:
    struct Sources {
        std::vector<std::filesystem::path> color; // one, or six faces
        std::optional<std::filesystem::path> distance;
        std::size_t width = 0; // of each colour image
        std::size_t height = 0;
    };

    ImagePanoramaLoader(PanoramaLayout layout, Sources sources);
    static PanoramaLayout layoutFor(ProjectionKind projection, std::size_t width, std::size_t height,
                                    std::size_t tileRows, std::size_t tileColumns, bool withDistances);

    // The source texels [first, end) that each column and each row of a tile covers, in a source
    // image (a face for cube maps) of the given size.
    struct Footprints {
        std::vector<std::pair<std::size_t, std::size_t>> columns;
        std::vector<std::pair<std::size_t, std::size_t>> rows;
    };
    Footprints footprintsOf(TileId tile, std::size_t sourceWidth, std::size_t sourceHeight) const;

    // The decoded source of a face (0 for an equirectangular image), decoded on first use.
    const ColorImage& colorSource(std::size_t face);
    const DepthImage& distanceSource();

    Sources mSources;
    std::mutex mDecodeMutex;
    std::vector<std::optional<ColorImage>> mDecodedColor;
    std::optional<DepthImage> mDecodedDistance;
};

} // namespace Graphics
