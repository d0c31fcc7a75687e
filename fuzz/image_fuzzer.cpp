// Feeds the image readers with files of any content: each is read completely or refused with an image_error.
#include "images/image_file.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <system_error>

#include <sys/mman.h>
#include <unistd.h>

namespace {

// A few bytes of a compressed file may stand for pixels without end, which would only cost time.
constexpr std::uint64_t most_pixels = 1 << 20;

// A file in memory that can be opened by name.
class memory_file {
public:
    memory_file() : descriptor_(memfd_create("image", MFD_CLOEXEC))
    {
        if (descriptor_ < 0) {
            throw std::system_error(errno, std::generic_category(), "memfd_create");
        }
    }
    memory_file(const memory_file&) = delete;
    memory_file& operator=(const memory_file&) = delete;
    ~memory_file() { close(descriptor_); }

    void replace_content(const std::uint8_t* data, std::size_t size) const
    {
        if (ftruncate(descriptor_, 0) != 0 || pwrite(descriptor_, data, size, 0) != static_cast<ssize_t>(size)) {
            throw std::system_error(errno, std::generic_category(), "a file in memory");
        }
    }

    [[nodiscard]] std::string name() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

private:
    int descriptor_;
};

void require(bool condition, const char* what)
{
    if (!condition) {
        std::fprintf(stderr, "The reader is wrong about %s.\n", what);
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const memory_file file;
    file.replace_content(data, size);
    try {
        const auto reader = kx::images::open_image(file.name());
        kx::images::image_16 image; // its memory is reused
        for (std::uint32_t page = 0; page < reader->page_count(); ++page) {
            if (const std::uint64_t pixels = reader->pixel_count(page); pixels <= most_pixels) {
                reader->read_page(page, image);
                require(image.channels == 3, "the samples of a pixel");
                require(image.pixel_count() == pixels, "the pixels of a page");
                require(image.samples.size() == 3 * pixels, "the samples of a page");
            }
        }
    } catch (const kx::images::image_error& refusal) {
        require(*refusal.what() != '\0', "the reason of a refusal");
    }
    return 0;
}
