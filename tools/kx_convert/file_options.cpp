#include "option_groups.h"
#include "text_numbers.h"

namespace kx::convert {

namespace {

constexpr const char* file_group = "Files";

const std::map<std::string, images::file_type> formats{{"tiff", images::file_type::tiff},
                                                       {"png", images::file_type::png}};

// 1-10,50 or 7-
std::vector<page_range> to_pages(const std::string& text)
{
    std::vector<page_range> pages;
    std::istringstream ranges(text);
    for (std::string range; std::getline(ranges, range, ',');) {
        const std::size_t dash = range.find('-');
        const auto first = parse_number<std::uint32_t>(range.substr(0, dash));
        const auto last = dash == std::string::npos  ? first
                          : dash + 1 == range.size() ? std::optional(open_end)
                                                     : parse_number<std::uint32_t>(range.substr(dash + 1));
        if (!first || !last || *first == 0 || *first > *last) {
            throw option_error("--pages", "'" + range + "' is no page and no range of pages, such as 1-10 or 7-");
        }
        pages.push_back({*first, *last});
    }
    return pages;
}

} // namespace

file_options::file_options(CLI::App& app)
{
    app.add_option("files", files_, "Images to read, or folders of them; without -o the last one is the output")
        ->required()
        ->type_name("");
    app.add_option("-o,--output", output_, "File or folder to write; names are kept in a folder")
        ->type_name("PATH")
        ->group(file_group);
    app.add_option("--format", format_, "tiff or png, in a folder (default: as the input)")
        ->type_name("NAME")
        ->check(CLI::IsMember(formats).description(""))
        ->group(file_group);
    app.add_option("--pages", pages_, "Convert these pages only: 1-10,50 or 7-")->type_name("LIST")->group(file_group);
    app.add_option("--overwrite", overwrite_, "Whether older files are replaced: yes (default) or no")
        ->type_name("NAME")
        ->check(CLI::IsMember(std::set<std::string>{"yes", "no"}).description(""))
        ->group(file_group);
    app.add_flag("--stop-at-error", stop_at_error_, "Begin no further file once one has failed")->group(file_group);
}

void file_options::put_into(settings& wanted) const
{
    std::vector<std::string> files = files_;
    wanted.output = output_;
    if (output_.empty()) {
        std::error_code ignored;
        const bool is_folder = files.back().ends_with('/') || std::filesystem::is_directory(files.back(), ignored);
        if (files.size() < 2) {
            throw option_error("output", "is missing: name a file to write");
        }
        if (files.size() > 2 && !is_folder) {
            throw option_error("-o", "several inputs need a folder to write to; " + files.back() + " is none");
        }
        wanted.output = files.back();
        files.pop_back();
    }
    wanted.output_is_folder = wanted.output.string().ends_with('/');
    wanted.inputs.assign(files.begin(), files.end());
    if (!format_.empty()) {
        wanted.output_format = formats.at(format_);
    }
    wanted.pages = to_pages(pages_);
    wanted.overwrite = overwrite_ == "yes";
    wanted.stop_at_error = stop_at_error_;
}

} // namespace kx::convert
