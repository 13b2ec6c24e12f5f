#include "view/drawScene.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "parallel/parallelTransform.h"
#include "view/BandList.h"
#include "view/Canvas.h"
#include "view/Shader.h"

namespace QUOR_ZEF {

namespace {

constexpr std::int32_t bandPixels = 16;  // rows of the picture that are drawn at a time

constexpr Color skyTop = {250, 250, 251}, skyBottom = {226, 230, 236};

struct Picture {
    Image image;
    // For edges between points: the nearest of each pixel, in samples, and whether it is one.
    std::vector<float> vDepths;
    std::vector<std::uint8_t> vIsPoint;
};

void setPixel(Image& image, std::size_t pixel, const Color& color) {
    for (std::size_t i = 0; i < 3; ++i)
        image.rgba[4 * pixel + i] = static_cast<std::uint8_t>(std::clamp(color[i] + 0.5F, 0.0F, 255.0F));
    image.rgba[4 * pixel + 3] = 255;
}

Color skyAt(std::uint32_t row, std::uint32_t height) {
    const float share = static_cast<float>(row) / static_cast<float>(height);
    Color color{};
    for (std::size_t i = 0; i < 3; ++i) color[i] = skyTop[i] + share * (skyBottom[i] - skyTop[i]);
    return color;
}

// The mean of the samples of a pixel. Neighbours that show the same triangle share a colour.
class PixelMean {
public:
    PixelMean(const Canvas& canvas_, const Shader& shader_, const Model& model_, std::int32_t finer_)
        : canvas(canvas_), shader(shader_), model(model_), finer(finer_) {}

    float depth = 0.0F;
    bool bPoint = false;

    Color at(std::int32_t column, std::int32_t row, const Color& sky) {
        Color sum{}, last{};
        std::uint32_t lastNumber = Canvas::nothing;
        depth = -std::numeric_limits<float>::infinity();
        bPoint = false;
        for (std::int32_t y = row * finer; y < (row + 1) * finer; ++y) {
            for (std::int32_t x = column * finer; x < (column + 1) * finer; ++x) {
                const std::uint32_t number = canvas.numberAt(x, y);
                if (number != lastNumber && number != Canvas::nothing) {
                    last = shader.colorOf(number, middleOf(x), middleOf(y));
                    lastNumber = number;
                }
                if (number != Canvas::nothing && canvas.depthAt(x, y) > depth) {
                    depth = canvas.depthAt(x, y);
                    bPoint = model.isPoint(number);
                }
                const Color& color = number == Canvas::nothing ? sky : last;
                for (std::size_t i = 0; i < 3; ++i) sum[i] += color[i];
            }
        }
        for (float& channel : sum) channel /= static_cast<float>(finer * finer);
        return sum;
    }

private:
    const Canvas& canvas;
    const Shader& shader;
    const Model& model;
    const std::int32_t finer;

    static std::int64_t middleOf(std::int32_t sample) { return std::int64_t{sample} * Spot::unit + Spot::unit / 2; }
};

void takePixels(const Model& model, const Shader& shader, const Canvas& canvas, std::uint32_t firstRow,
                std::int32_t finer, Picture& picture) {
    Image& image = picture.image;
    PixelMean mean(canvas, shader, model, finer);
    for (std::uint32_t row = firstRow; row < std::min(firstRow + bandPixels, image.height); ++row) {
        const Color sky = skyAt(row, image.height);
        for (std::uint32_t column = 0; column < image.width; ++column) {
            const std::size_t pixel = std::size_t{row} * image.width + column;
            setPixel(image, pixel, mean.at(static_cast<std::int32_t>(column), static_cast<std::int32_t>(row), sky));
            if (picture.vDepths.empty()) continue;
            picture.vDepths[pixel] = mean.depth;
            picture.vIsPoint[pixel] = mean.bPoint;
        }
    }
}

// Points have no light of their own: those that lie behind neighbours in the picture are
// darker, which shows edges and folds (C. Boucheny, eye-dome lighting).
float shadeOf(const Picture& picture, std::uint32_t column, std::uint32_t row, float perDepth) {
    constexpr std::int64_t reach = 2;  // pixels
    const auto width = std::int64_t{picture.image.width}, height = std::int64_t{picture.image.height};
    const float own = picture.vDepths[std::size_t{row} * picture.image.width + column];
    float sum = 0.0F;
    for (std::int64_t dy = -reach; dy <= reach; dy += reach) {
        for (std::int64_t dx = -reach; dx <= reach; dx += reach) {
            const std::int64_t x = column + dx, y = row + dy;
            if (x < 0 || y < 0 || x >= width || y >= height) continue;
            const float other = picture.vDepths[static_cast<std::size_t>(y * width + x)];
            if (other > own) sum += std::min((other - own) * perDepth, 1.0F);
        }
    }
    return 1.0F - 0.75F * std::min(sum / 4.0F, 1.0F);
}

void shadePoints(Picture& picture, std::uint32_t finer) {
    // Eighty pixels in depth are as dark as can be.
    const float perDepth = 1.0F / (80.0F * static_cast<float>(finer));
    Image& image = picture.image;
    parallelChunks(image.height, 16, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin * image.width; i < end * image.width; ++i) {
            if (!picture.vIsPoint[i]) continue;
            const float shade = shadeOf(picture, static_cast<std::uint32_t>(i % image.width),
                                        static_cast<std::uint32_t>(i / image.width), perDepth);
            for (std::size_t channel = 4 * i; channel < 4 * i + 3; ++channel)
                image.rgba[channel] = static_cast<std::uint8_t>(static_cast<float>(image.rgba[channel]) * shade + 0.5F);
        }
    });
}

}  // namespace

Image drawScene(const ViewScene& scene, const DrawOptions& options) {
    const auto finer = static_cast<std::int32_t>(options.finer);
    const Model model(scene, options);
    const Shader shader(scene, options, model);
    const std::size_t numBands = (options.height + bandPixels - 1) / bandPixels;
    const BandList bands(model, numBands, bandPixels * finer);
    Picture picture{{options.width, options.height, {}}, {}, {}};
    const std::size_t numPixels = std::size_t{options.width} * options.height;
    picture.image.rgba.resize(4 * numPixels);
    if (!scene.points.empty()) {
        picture.vDepths.resize(numPixels);
        picture.vIsPoint.resize(numPixels);
    }
    shareTasks(numBands, [&](std::size_t band, int /*worker*/) {
        Canvas canvas(static_cast<std::int32_t>(options.width) * finer, bandPixels * finer);
        const auto firstRow = static_cast<std::uint32_t>(band) * bandPixels;
        canvas.start(static_cast<std::int32_t>(firstRow) * finer);
        canvas.draw(model, bands.in(band));
        takePixels(model, shader, canvas, firstRow, finer, picture);
    });
    if (!scene.points.empty()) shadePoints(picture, options.finer);
    return std::move(picture.image);
}

}  // namespace QUOR_ZEF
