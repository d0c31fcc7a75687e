// The options by group. A group adds its options to the parser, keeps what they were given and puts it into the
// settings in the end. The help says in words what the validators would add to it, so their own descriptions are
// left out.
#pragma once

#include "channel_options.h"

#include <thread>

namespace kx::convert {

// Which files and pages, and what becomes of older ones.
class file_options {
public:
    explicit file_options(CLI::App& app);
    file_options(const file_options&) = delete; // the parser holds references to the members
    file_options& operator=(const file_options&) = delete;
    ~file_options() = default;

    void put_into(settings& wanted) const; // throws option_error

private:
    std::vector<std::string> files_;
    std::string output_;
    std::string format_;
    std::string pages_;
    std::string overwrite_ = "yes";
    bool stop_at_error_ = false;
};

// Matrices, look-up tables, clamps and shifts.
class processing_options {
public:
    explicit processing_options(CLI::App& app);
    processing_options(const processing_options&) = delete;
    processing_options& operator=(const processing_options&) = delete;
    ~processing_options() = default;

    void put_into(settings& wanted) const;

private:
    void add_matrices(CLI::App& app);

    std::optional<int> input_bits_;
    std::vector<matrix> matrices_;
    channel_options<std::string> input_tables_;
    std::optional<int> input_table_bits_;
    channel_options<std::string> output_tables_;
    std::optional<int> output_table_bits_;
    channel_options<std::pair<int, int>> clamps_;
    channel_options<int> shifts_;
};

// What is written, and how the program runs.
class output_options {
public:
    explicit output_options(CLI::App& app);
    output_options(const output_options&) = delete;
    output_options& operator=(const output_options&) = delete;
    ~output_options() = default;

    void put_into(settings& wanted) const;

private:
    unsigned depth_ = 16;
    unsigned channels_ = 3;
    bool planar_ = false;
    std::string compression_;
    std::optional<int> level_;
    bool big_tiff_ = false;
    unsigned threads_ = std::max(1U, std::thread::hardware_concurrency());
    std::string vector_level_ = "auto";
    bool info_ = false;
    bool quiet_ = false;
};

} // namespace kx::convert
