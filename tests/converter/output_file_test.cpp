// Files that are complete or absent, on systems that this machine's stands in for: without files that have no name,
// with a disk that is found full when a file is closed.
#include "tool_test.h"

#include "files/output_file.h"

#include <cerrno>
#include <cstdarg>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

bool closing_fails = false;
bool files_need_names = false;

} // namespace

// In place of the C library's, for this program.
extern "C" {
int close(int descriptor)
{
    const long result = syscall(SYS_close, descriptor);
    if (closing_fails) {
        errno = EDQUOT;
        return -1;
    }
    return static_cast<int>(result);
}

int open(const char* path, int flags, ...)
{
    std::va_list arguments;
    va_start(arguments, flags);
    const auto mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : mode_t{0};
    va_end(arguments);
    if (files_need_names && (flags & O_TMPFILE) == O_TMPFILE) {
        errno = EOPNOTSUPP;
        return -1;
    }
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}
}

namespace kx_test {

namespace {

namespace fs = std::filesystem;
using kx::files::file_error;
using kx::files::output_file;

class output_files : public testing::TestWithParam<bool> {
protected:
    void SetUp() override { files_need_names = GetParam(); }
    void TearDown() override { files_need_names = closing_fails = false; }

    void write(const std::string& name, const std::string& text, kx::files::output_options options = {})
    {
        output_file file(directory / name, options);
        file.write(0, text.data(), text.size());
        file.commit();
    }

    work_directory directory;
};

TEST_P(output_files, are_complete_or_absent)
{
    const mode_t mask = umask(027);
    write("new", "text", {.replace = false, .sync = true});
    EXPECT_EQ(fs::status(directory / "new").permissions(), fs::perms(0640));
    fs::permissions(directory / "new", fs::perms(0604));
    write("new", "other", {.sync = true});
    umask(mask);
    EXPECT_EQ(fs::status(directory / "new").permissions(), fs::perms(0604));
    const auto before = directory.content();
    {
        output_file given_up(directory / "given up");
        given_up.write(0, "x", 1);
        EXPECT_EQ(directory.content().size(), before.size() + (GetParam() ? 1 : 0));
    }
    EXPECT_TRUE(directory.content() == before);
    EXPECT_EQ(before, (std::map<std::string, std::string>{{directory / "new", "other"}}));
}

TEST_P(output_files, replace_nothing_that_appears_meanwhile)
{
    output_file late(directory / "file", {.replace = false});
    write("file", "first");
    EXPECT_THAT([&] { late.commit(); }, testing::ThrowsMessage<file_error>(testing::HasSubstr("exists already")));
    EXPECT_THROW(output_file(directory / "file", {.replace = false}), file_error);
    EXPECT_EQ(read_file(directory / "file"), "first");
}

TEST_P(output_files, are_not_put_in_place_when_closing_them_fails)
{
    write("file", "older");
    const auto before = directory.content();
    for (const char* const name : {"file", "other"}) {
        EXPECT_THROW(
            {
                output_file file(directory / name);
                file.write(0, "x", 1);
                closing_fails = true;
                file.commit();
            },
            file_error);
        closing_fails = false;
        EXPECT_TRUE(directory.content() == before) << name;
    }
}

INSTANTIATE_TEST_SUITE_P(without_and_with_names, output_files, testing::Bool());

} // namespace

} // namespace kx_test
