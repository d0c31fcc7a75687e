#include "text_file.h"

#include "readable_file.h"

#include <locale>

namespace kx::files {

namespace {

std::string read_whole(const std::filesystem::path& file)
{
    constexpr std::size_t step = std::size_t{1} << 16U;
    const readable_file input(file);
    std::string bytes;
    std::size_t count = 0;
    do { // a pipe tells its size by its end only
        bytes.resize(count + step);
        count += input.read(count, bytes.data() + count, step);
    } while (count == bytes.size());
    bytes.resize(count);
    return bytes;
}

std::string from_utf16(const std::filesystem::path& file, const std::string& bytes, std::size_t high)
{
    std::u16string units;
    for (std::size_t place = 2; place + 1 < bytes.size(); place += 2) {
        const auto byte = [&](std::size_t which) { return static_cast<unsigned char>(bytes[place + which]); };
        units += static_cast<char16_t>(byte(high) << 8U | byte(1 - high));
    }
    std::string text(3 * units.size(), '\0');
    std::mbstate_t state{};
    const char16_t* read = nullptr;
    auto* const begin = reinterpret_cast<char8_t*>(text.data());
    char8_t* written = nullptr;
    using converter = std::codecvt<char16_t, char8_t, std::mbstate_t>;
    const auto result =
        std::use_facet<converter>(std::locale::classic())
            .out(state, units.data(), units.data() + units.size(), read, begin, begin + text.size(), written);
    if (result != converter::ok || bytes.size() % 2 != 0) {
        throw file_error(file, "cannot be read: its UTF-16 is damaged");
    }
    text.resize(static_cast<std::size_t>(written - begin));
    return text;
}

} // namespace

std::string read_text(const std::filesystem::path& file)
{
    std::string text = read_whole(file);
    if (text.starts_with("\xEF\xBB\xBF")) {
        text.erase(0, 3);
    } else if (text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF")) {
        text = from_utf16(file, text, text.starts_with("\xFE\xFF") ? 0 : 1);
    }
    return text;
}

} // namespace kx::files
