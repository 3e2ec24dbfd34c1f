// How a render that cannot succeed ends.

#include <sys/resource.h>
#include <unistd.h>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

#include <chrono>
#include <csignal>
#include <cstring>
#include <fstream>
#include <random>
#include <sstream>

#include "host/error.h"
#include "programs/command/message.h"
#include "tests/programs/command/command_fixture.h"

using namespace focusfall;

namespace {

using renders = command_test;
namespace fs = std::filesystem;

const window SMALL{0, 0, 40, 30};

// The PNG library leaves its reader by longjmp, so the library for picture files leaks
// what it holds then.
#ifdef __SANITIZE_ADDRESS__
using leaks_of_others = __lsan::ScopedDisabler;
#else
struct leaks_of_others {
    leaks_of_others() {}  // used by being there
};
#endif

std::string bytes_of(const std::string& file) {
    std::ostringstream bytes;
    bytes << std::ifstream(file, std::ios::binary).rdbuf();
    return bytes.str();
}

// Arguments of `focusfall render` that fail, and parts of the message.
const struct {
    std::string line;
    std::vector<std::string> told;
} FAILURES[] = {
    {"flat.exr -o out.exr", {"flat.exr: ", "--depth-map", "BlurChannel"}},
    {"none.exr -o out.exr", {"none.exr: "}},
    {"odd.exr -o out.exr", {"odd.exr: ", "\"A\"", "damaged"}},
    {"in.exr -o in.exr", {"in.exr: ", "input"}},
    {"in.exr -o folder.exr", {"folder.exr: ", "is a folder"}},
    {"in.exr -o /proc/out.exr", {"/proc/out.exr: "}},
    {"in.exr -o out.doc", {"out.doc: ", ".exr"}},
    {"in.exr -o out.exr --layer middle", {"in.exr: ", "\"middle\""}},
    {"in.exr -o out.exr --depth-channel W", {"in.exr: ", "\"W\""}},
    {"in.exr -o out.exr --set BlurStlye=Disk", {"\"BlurStyle\""}},
    {"in.exr -o out.exr --memory-limit 1kb", {"in.exr: "}},
};

// Gives the first channel of a file of parts a pixel type that does not exist. The
// library for picture files does not check that in parts of an unknown kind, and then
// crashed.
void spoil_channel_type(const std::string& file) {
    std::string bytes = bytes_of(file);
    bytes[bytes.find("scanlineimage")] = 'S';
    bytes[bytes.find("chlist") + sizeof "chlist" + 4 + sizeof "A"] = 9;
    std::ofstream(file, std::ios::binary) << bytes;
}

// Whether a process has begun to take such a signal by itself.
bool takes(pid_t process, int signal) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (!line.starts_with("SigCgt:")) continue;
        return (std::stoull(line.substr(7), nullptr, 16) >> (signal - 1) & 1) != 0;
    }
    return false;
}

}  // namespace

TEST_F(renders, ThatFailSayWhyAndWriteNothing) {
    write_scene("in.exr", SMALL, SMALL);
    auto channels = scene_channels();
    channels.pop_back();
    write("flat.exr", made_part(SMALL, SMALL, channels));
    std::vector<picture_part> parts;
    for (const char* name : {"one", "two"}) {
        parts.push_back(made_part(SMALL, SMALL, scene_channels()));
        parts.back().spec.attribute("oiio:subimagename", name);
    }
    spoil_channel_type(write("odd.exr", parts));
    fs::create_directory(path("folder.exr"));

    for (const auto& [line, told] : FAILURES) {
        const run_result ran = run("render " + line);
        EXPECT_EQ(ran.status, 1) << line << ": " << ran.errors;
        EXPECT_TRUE(ran.errors.starts_with("focusfall: ")) << ran.errors;
        for (const std::string& text : told) {
            EXPECT_NE(ran.errors.find(text), std::string::npos)
                << text << ": " << ran.errors;
        }
    }
    // wrong usage
    const run_result misspelled = run("rendr in.exr -o out.exr");
    EXPECT_EQ(misspelled.status, 2);
    EXPECT_NE(misspelled.errors.find("did you mean \"render\"?"), std::string::npos);
    for (const std::string more :
         {"", "in.exr", "in.exr -o out.exr --frames 5-1",
          "in.exr -o out.exr --data-type double", "in.exr -o out.exr --threads none",
          "in.exr -o out.exr --compression zap", "in.exr -o out.exr --colorspace purple",
          "in.exr -o out.exr --memory-limit much"}) {
        const run_result ran = run("render " + more);
        EXPECT_EQ(ran.status, 2) << ran.errors;
        EXPECT_NE(ran.errors, "");
    }
    // the built command ends as its line does here
    EXPECT_EQ(wait(start("render none.exr -o out.exr")).status, 1);
    EXPECT_EQ(wait(start("rendr in.exr -o out.exr")).status, 2);
    EXPECT_FALSE(fs::exists(path("out.exr")) || fs::exists(path("out.png")));
    EXPECT_TRUE(hidden_files().empty());
}

TEST_F(renders, WithoutBlurOrFocusTellWhatIsWrongUnlessQuiet) {
    write_scene("in.exr", SMALL, SMALL);
    const std::string line = "render in.exr -o out.exr --set FStop=4 --set ";
    const std::pair<std::string, std::string> notes[] = {
        {"MaxBlurSize=0", "focusfall: in.exr: nothing is blurred"},
        {"MaxBlurSize=25 --set FocusPosition=1",
         "focusfall: in.exr: no pixel is in focus"},
        {"MaxBlurSize=0", "FStop: no effect unless SettingsType=Advanced"}};
    for (const auto& [settings, told] : notes) {
        const std::string errors = run(line + settings).errors;
        EXPECT_NE(errors.find(told), errors.npos) << errors;
    }
    EXPECT_EQ(run(line + "MaxBlurSize=0 --quiet").errors, "");
}

TEST_F(renders, ThatWouldTakeTooMuchMemoryNameTheControl) {
    write_scene("in.exr", {0, 0, 2000, 4}, {0, 0, 2000, 4});
    const std::string line = "render in.exr -o out.exr --memory-limit 2GB --set ";
    const std::string with_table = " --tool plain";
    const run_result fast = run(line + "MaxBlurSize=25");
    EXPECT_EQ(fast.status, 0) << fast.errors;  // it keeps no kernels
    const run_result simple = run(line + "MaxBlurSize=25" + with_table);
    EXPECT_EQ(simple.status, 1);
    for (const char* text : {"in.exr: ", "GB", "MaxBlurSize"}) {
        EXPECT_NE(simple.errors.find(text), std::string::npos) << text << simple.errors;
    }
}

// A limit on file sizes stands for a disk that fills up: both fail a write half-way.
TEST_F(renders, ThatRunOutOfDiskLeaveTheOldFile) {
    write_scene("in.exr", {0, 0, 200, 100}, {0, 0, 200, 100});
    for (const std::string name : {"out.exr", "out.png", "out.tif"}) {
        const std::string line = "render in.exr -o " + name;
        ASSERT_EQ(run(line).status, 0);
        const std::string before = bytes_of(path(name));
        rlimit limit{};
        getrlimit(RLIMIT_FSIZE, &limit);
        const rlimit small{before.size() / 2, limit.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
        const run_result full = wait(start(line));
        setrlimit(RLIMIT_FSIZE, &limit);
        EXPECT_EQ(full.status, 1);
        EXPECT_NE(full.errors.find(name + ": "), std::string::npos) << full.errors;
        EXPECT_TRUE(bytes_of(path(name)) == before) << name;
        EXPECT_TRUE(hidden_files().empty());
    }
}

// As another user than the superuser, to whom every file is readable.
TEST_F(renders, OfFilesThatMayNotBeReadOrReplacedSaySo) {
    write_scene("in.exr", SMALL, SMALL);
    write_scene("out.exr", SMALL, SMALL);
    fs::permissions(folder(), fs::perms::all);
    fs::permissions(path("out.exr"), fs::perms::owner_read);
    EXPECT_NE(run("render in.exr -o out.exr").errors.find("out.exr: is write-protected"),
              std::string::npos);
    fs::permissions(path("in.exr"), fs::perms::none);
    fs::permissions(path("out.exr"), fs::perms::owner_all);
    constexpr uid_t NOBODY = 65534;
    const bool other = geteuid() == 0 && seteuid(NOBODY) == 0;
    const std::string unreadable = run("render in.exr -o new.exr").errors;
    const std::string of_others = run("render whole.exr -o out.exr").errors;
    ASSERT_TRUE(!other || seteuid(0) == 0);
    EXPECT_NE(unreadable.find("in.exr: cannot be read: Permission denied"),
              std::string::npos)
        << unreadable;
    if (other) {
        EXPECT_NE(of_others.find("out.exr: is write-protected"), std::string::npos)
            << of_others;
    }
}

// Bytes that would steer a terminal arrive there as text.
TEST_F(renders, ShowBrokenNamesInPrintableLetters) {
    write("in.exr",
          made_part(SMALL, SMALL, {{"\x1b[2J\xff.R", OIIO::TypeDesc::HALF, [](int, int) {
                                        return 0.5;
                                    }}}));
    const std::string errors = run("render in.exr -o out.exr --layer none").errors;
    EXPECT_NE(errors.find("\\x1b[2J\\xff"), errors.npos) << errors;
    EXPECT_EQ(errors.find('\x1b'), errors.npos);
    EXPECT_EQ(printable("gr\xc3\xbcn \xe2\x82\xac \xf0\x9f\x8e\xa5\n"),
              "gr\xc3\xbcn \xe2\x82\xac \xf0\x9f\x8e\xa5\n");
    EXPECT_EQ(printable("\xc2\x9b\xc0\xaf\xed\xa0\x80\xe2\x82"),
              "\\xc2\\x9b\\xc0\\xaf\\xed\\xa0\\x80\\xe2\\x82");
}

// Such a header made the library look for pieces of the picture for minutes.
TEST_F(renders, OfHeadersThatAnnounceMoreThanTheFileHoldsEndAtOnce) {
    write_scene("in.exr", SMALL, SMALL);
    std::string bytes = bytes_of(path("in.exr"));
    const std::size_t windows[] = {bytes.find("dataWindow"), bytes.find("displayWindow")};
    const std::int32_t last = 200'000;
    for (const std::size_t at : windows) {
        const std::size_t value = bytes.find("box2i", at) + sizeof "box2i" + 4;
        std::memcpy(&bytes[value + 12], &last, sizeof last);
    }
    std::ofstream(path("tall.exr"), std::ios::binary) << bytes;
    const auto start_time = std::chrono::steady_clock::now();
    const run_result ran = run("render tall.exr -o out.exr --set BlurChannel=Red");
    EXPECT_NE(ran.errors.find("tall.exr: is too short for the pixels"), std::string::npos)
        << ran.errors;
    EXPECT_LT(std::chrono::steady_clock::now() - start_time, std::chrono::seconds(5));
}

// Each damaged file either still is a picture or is refused by its name.
TEST_F(renders, OfDamagedFilesNeitherCrashNorHang) {
    std::mt19937 random(20240229);
    write_scene("whole.exr", SMALL, {-5, -5, 60, 50});
    const auto ramp = [](int x, int y) { return (x + y) / 100.0; };
    write("whole.png", made_part(SMALL, SMALL, {{"Y", OIIO::TypeDesc::UINT16, ramp}}));
    int refused = 0;
    for (int round = 0; round < 400; ++round) {
        const std::string ending = round % 2 == 0 ? ".exr" : ".png";
        std::string bytes = bytes_of(path("whole" + ending));
        if (round % 8 < 2) {
            bytes.resize(random() % bytes.size());
        } else {
            // headers stand at the front and are the more interesting half
            const std::size_t reach = round % 3 == 0 ? bytes.size() : 400;
            for (int flips = 0; flips < 3; ++flips) {
                bytes[random() % std::min(reach, bytes.size())] =
                    static_cast<char>(random());
            }
        }
        const std::string file = path("damaged" + ending);
        std::ofstream(file, std::ios::binary) << bytes;
        const leaks_of_others ignored;
        try {
            read_picture(file, 100'000'000);
        } catch (const headless::host_error& error) {
            ++refused;
            EXPECT_TRUE(std::string(error.what()).starts_with(file + ": "))
                << error.what();
        }
    }
    EXPECT_GT(refused, 100);
}

TEST_F(renders, EndSoonAndCleanlyWhenInterrupted) {
    write_scene("in.exr", {0, 0, 900, 600}, {0, 0, 900, 600});
    std::mt19937 random(7);
    // the slower tool, so that the signal comes before the end
    for (const std::string line :
         {"render in.exr -o out.exr --set MaxBlurSize=8 --tool plain", "demo ."}) {
        for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
            const pid_t process = start(line);
            while (!takes(process, signal)) usleep(1000);
            usleep(static_cast<useconds_t>(random() % 200'000));
            kill(process, signal);
            const run_result ran = wait(process);
            EXPECT_EQ(ran.status, 130) << line << ": " << ran.errors;
            EXPECT_FALSE(fs::exists(path("out.exr")));
            EXPECT_TRUE(hidden_files().empty());
        }
    }
}

// As under nohup.
TEST_F(renders, GoOnAfterASignalThatWasIgnoredBefore) {
    write_scene("in.exr", {0, 0, 300, 200}, {0, 0, 300, 200});
    const pid_t process = start("render in.exr -o out.exr --set MaxBlurSize=8", SIGHUP);
    while (!takes(process, SIGTERM)) usleep(1000);
    kill(process, SIGHUP);
    EXPECT_EQ(wait(process).status, 0);
    EXPECT_TRUE(fs::exists(path("out.exr")));
}
