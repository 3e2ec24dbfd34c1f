// What the plug-in library carries beside its code; only Windows has a place for it.

#include <gtest/gtest.h>

#include <windows.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "host/headless_host.h"

namespace {

const std::filesystem::path plugin = PLUGIN_FILE;

TEST(Resources, HoldThePictureThatTheRegistrationNames) {
    headless::host host(1);
    host.load_plugin(plugin);
    HMODULE library = GetModuleHandleW(plugin.c_str());
    ASSERT_NE(library, nullptr);
    const int number = host.classes().front().bitmap;
    HRSRC found = FindResourceA(library, MAKEINTRESOURCEA(number), RT_BITMAP);
    ASSERT_NE(found, nullptr);
    const auto* header =
        static_cast<const BITMAPINFOHEADER*>(LockResource(LoadResource(library, found)));
    EXPECT_EQ(header->biWidth, 160);
    EXPECT_EQ(header->biHeight, 120);
    EXPECT_EQ(header->biBitCount, 24);
    EXPECT_GE(SizeofResource(library, found), sizeof *header + 160 * 120 * 3);

    host.unload_plugins();
    EXPECT_EQ(GetModuleHandleW(plugin.c_str()), nullptr) << "is still in memory";
}

TEST(Resources, TellTheVersion) {
    std::vector<char> block(GetFileVersionInfoSizeW(plugin.c_str(), nullptr));
    ASSERT_TRUE(GetFileVersionInfoW(plugin.c_str(), 0, static_cast<DWORD>(block.size()),
                                    block.data()));
    const auto text = [&](const std::string& name) {
        char* words = nullptr;
        UINT length = 0;
        VerQueryValueA(block.data(), ("\\StringFileInfo\\040904b0\\" + name).c_str(),
                       reinterpret_cast<void**>(&words), &length);
        return std::string(words ? words : "");
    };
    EXPECT_EQ(text("CompanyName"), "Kestrel Software");
    EXPECT_EQ(text("FileVersion"), PLUGIN_VERSION);
    EXPECT_EQ(text("OriginalFilename"), plugin.filename().string());
}

}  // namespace
