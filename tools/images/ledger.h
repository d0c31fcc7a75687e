// What a conversion does not carry on: everything that reads, converts or writes enters it here, and one report says
// it.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace kx::images {

enum class loss {
    oddity,  // the input is odd, or damaged in what are not samples: how it was taken, or a library's warning
    changed, // is in the output, but not as it was
    dropped, // is not in the output
};

// Of one file. Several threads may use it.
class ledger {
public:
    // One that does not keep anything is for whom samples are all that counts.
    explicit ledger(bool keeps = true) : keeps_(keeps) {}

    // `what` names it for people: "EXIF", "tag 65000". Pages count from 1; 0 is the file as a whole. What is entered
    // for several pages is one entry.
    void enter(loss kind, const std::string& what, std::uint32_t page = 0);

    [[nodiscard]] bool empty() const;

    // One line for each kind that there is, entries in the order of their texts.
    [[nodiscard]] std::vector<std::string> lines() const;

private:
    struct pages {
        std::uint32_t first;
        std::uint32_t count;
    };

    bool keeps_;
    mutable std::mutex guard_;
    std::map<std::pair<loss, std::string>, pages> entries_;
};

} // namespace kx::images
