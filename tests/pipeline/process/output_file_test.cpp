#include "pipeline/process/output_file.h"

#include <unistd.h>

#include <fstream>
#include <optional>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "host/control.h"

using namespace focusfall;

namespace {

namespace fs = std::filesystem;

class OutputFile : public testing::Test {
  protected:
    OutputFile() {
        std::string name =
            (fs::temp_directory_path() / "focusfall_output_XXXXXX").string();
        if (!mkdtemp(name.data())) throw std::runtime_error("no folder for the test");
        folder = name;
        write(folder / "picture", "old");
    }
    ~OutputFile() override { fs::remove_all(folder); }

    static void write(const fs::path& file, const std::string& text) {
        std::ofstream(file) << text;
    }
    static std::string content(const fs::path& file) {
        std::ifstream stream(file);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    std::set<std::string> names() const {
        std::set<std::string> all;
        for (const auto& entry : fs::directory_iterator(folder)) {
            all.insert(entry.path().filename().string());
        }
        return all;
    }

    fs::path folder;
};

TEST_F(OutputFile, ReplacesAnOlderOneOnlyWhenCommitted) {
    {
        const output_file abandoned(folder / "picture");
        write(abandoned.temporary_name(), "half");
        EXPECT_EQ(content(folder / "picture"), "old");
    }
    EXPECT_EQ(names(), std::set<std::string>{"picture"});
    EXPECT_EQ(content(folder / "picture"), "old");

    output_file complete(folder / "picture");
    write(complete.temporary_name(), "new");
    complete.commit();
    EXPECT_EQ(names(), std::set<std::string>{"picture"});
    EXPECT_EQ(content(folder / "picture"), "new");
}

TEST_F(OutputFile, KeepsALinkAndReplacesTheFileBehindIt) {
    fs::create_symlink("picture", folder / "link");
    output_file file(folder / "link");
    write(file.temporary_name(), "new");
    file.commit();
    EXPECT_TRUE(fs::is_symlink(folder / "link"));
    EXPECT_EQ(content(folder / "picture"), "new");
}

TEST_F(OutputFile, RefusesNamesThatCannotBecomeAFile) {
    EXPECT_THROW(output_file{folder}, headless::host_error);
    EXPECT_THROW(output_file{folder / "missing" / "picture"}, headless::host_error);
    EXPECT_EQ(names(), std::set<std::string>{"picture"});
}

TEST_F(OutputFile, OfAKilledRunIsRemovedButNotOneInUse) {
    const output_file in_use(folder / "other");
    write(folder / ".focusfall-1-0.tmp", "left by a killed run");
    write(folder / ".hidden", "of somebody else");
    remove_abandoned_files(folder);
    EXPECT_EQ(names(),
              (std::set<std::string>{"picture", ".hidden",
                                     in_use.temporary_name().filename().string()}));
}

}  // namespace
