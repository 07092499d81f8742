#include <TessilUtils/Image.h>

#include <TessilUtils/Logger.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace TessilUtils {

struct Image::Pixels {
    std::atomic<std::size_t> owners{1};
    float* values = nullptr;
    std::size_t count = 0;

    // Null when there is no memory. Fresh pages are zero already, so a large image costs only what is written.
    static Pixels* create(std::size_t count) {
        auto* values = static_cast<float*>(std::calloc(count, sizeof(float)));
        if (values == nullptr) {
            return nullptr;
        }
        auto* pixels = new (std::nothrow) Pixels;
        if (pixels == nullptr) {
            std::free(values);
            return nullptr;
        }
        pixels->values = values;
        pixels->count = count;
        return pixels;
    }
};

Image::Image() = default;

Image::Image(unsigned int width, unsigned int height, unsigned int channels) {
    if (width == 0 || height == 0 || channels == 0) {
        if (width != 0 || height != 0 || channels != 0) {
            Logger::error() << "Image without pixels:" << width << "x" << height << "x" << channels;
        }
        return;
    }
    constexpr std::size_t largest = std::numeric_limits<std::ptrdiff_t>::max() / sizeof(float);
    const bool fits = width <= largest / height && std::size_t{width} * height <= largest / channels;
    pixels_ = fits ? Pixels::create(std::size_t{width} * height * channels) : nullptr;
    if (pixels_ == nullptr) {
        Logger::error() << "Image too large:" << width << "x" << height << "x" << channels;
        return;
    }
    width_ = width;
    height_ = height;
    channels_ = channels;
}

Image::Image(const Image& other)
    : width_(other.width_), height_(other.height_), channels_(other.channels_), pixels_(other.pixels_) {
    if (pixels_ != nullptr) {
        pixels_->owners.fetch_add(1, std::memory_order_relaxed);
    }
}

Image::Image(Image&& other) noexcept
    : width_(std::exchange(other.width_, 0)),
      height_(std::exchange(other.height_, 0)),
      channels_(std::exchange(other.channels_, 0)),
      pixels_(std::exchange(other.pixels_, nullptr)) {}

Image& Image::operator=(const Image& other) {
    return *this = Image(other);
}

Image& Image::operator=(Image&& other) noexcept {
    Image taken(std::move(other));
    std::swap(width_, taken.width_);
    std::swap(height_, taken.height_);
    std::swap(channels_, taken.channels_);
    std::swap(pixels_, taken.pixels_);
    return *this;
}

Image::~Image() {
    release();
}

float Image::pixel(unsigned int x, unsigned int y, unsigned int channel) const {
    return contains(x, y, channel) ? pixels_->values[offset(x, y, channel)] : 0.0f;
}

bool Image::setPixel(unsigned int x, unsigned int y, unsigned int channel, float value) {
    if (!contains(x, y, channel)) {
        Logger::error() << "No pixel" << x << y << channel << "in an image of" << width_ << "x" << height_ << "x"
                        << channels_;
        return false;
    }
    // Acquire: another owner that has just let go may have been reading until then.
    if (pixels_->owners.load(std::memory_order_acquire) != 1) {
        Pixels* own = Pixels::create(pixels_->count);
        if (own == nullptr) {
            Logger::error() << "No memory for a copy of the image";
            return false;
        }
        std::memcpy(own->values, pixels_->values, own->count * sizeof(float));
        release();
        pixels_ = own;
    }
    pixels_->values[offset(x, y, channel)] = value;
    return true;
}

const float* Image::data() const {
    return pixels_ != nullptr ? pixels_->values : nullptr;
}

std::size_t Image::offset(unsigned int x, unsigned int y, unsigned int channel) const {
    return (std::size_t{y} * width_ + x) * channels_ + channel;
}

bool Image::contains(unsigned int x, unsigned int y, unsigned int channel) const {
    return x < width_ && y < height_ && channel < channels_;
}

void Image::release() {
    if (pixels_ != nullptr && pixels_->owners.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        std::free(pixels_->values);
        delete pixels_;
    }
    pixels_ = nullptr;
}

}  // namespace TessilUtils
