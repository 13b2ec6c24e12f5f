#include "bytes/AtomicFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <bit>
#include <cmath>
#include <csignal>
#include <limits>
#include <random>
#include <sstream>
#include <vector>

#include "support/tempFolder.h"

using namespace QUOR_ZEF;
using zef_test::TempFolder;

namespace {

// No file may grow beyond this while it lives: what a full disk looks like.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t numBytes) : pOldHandler(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &old);
        const rlimit limit{numBytes, old.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &old);
        std::signal(SIGXFSZ, pOldHandler);
    }

private:
    rlimit old{};
    void (*pOldHandler)(int);
};

unsigned modeOf(const std::string& name) {
    struct ::stat info {};
    ::stat(name.c_str(), &info);
    return info.st_mode & 07777u;
}

}  // namespace

TEST(AtomicFile, leavesWhatStoodThereUntilItIsCommitted) {
    const TempFolder folder;
    const std::string name = folder.put("a.txt", "old");
    {
        AtomicFile dropped(name);
        dropped.write("half a fi");
        EXPECT_EQ(folder.get("a.txt"), "old");
    }
    EXPECT_EQ(folder.get("a.txt"), "old");
    EXPECT_EQ(folder.numFiles(), 1u);

    AtomicFile file(name);
    file.write("new");
    EXPECT_EQ(folder.get("a.txt"), "old");
    EXPECT_TRUE(file.commit());
    EXPECT_EQ(folder.get("a.txt"), "new");
    EXPECT_EQ(folder.numFiles(), 1u);
}

TEST(AtomicFile, leavesNothingWhenTheProcessIsKilled) {
    const TempFolder folder;
    const std::string name = folder.put("a.txt", "old");
    const int probe = ::open(folder.path.c_str(), O_WRONLY | O_TMPFILE, 0600);
    const std::size_t numLeft = probe < 0 ? 2 : 1;  // where files cannot be without a name
    ::close(probe);
    const pid_t child = ::fork();
    if (child == 0) {
        AtomicFile file(name);
        for (int i = 0; i < 300'000; ++i) file.write("0123456789");
        ::_exit(file.isGood() ? 0 : 1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(folder.get("a.txt"), "old");
    EXPECT_EQ(folder.numFiles(), numLeft);
}

TEST(AtomicFile, aFullDiskLeavesTheOldFileAndNoTrace) {
    const TempFolder folder;
    const std::string name = folder.put("a.txt", "old");
    const FileSizeLimit limit(2'000'000);
    AtomicFile file(name);
    for (int i = 0; i < 300'000; ++i) file.write("0123456789");
    EXPECT_FALSE(file.isGood());
    EXPECT_FALSE(file.commit());
    EXPECT_NE(file.getError().find("write: "), std::string::npos) << file.getError();
    EXPECT_EQ(folder.get("a.txt"), "old");
    EXPECT_EQ(folder.numFiles(), 1u);
}

TEST(AtomicFile, refusesPlacesThatCannotBeWritten) {
    const TempFolder folder;
    const std::string plain = folder.put("plain", "x");
    std::filesystem::create_directory(folder.path / "sub");
    for (const std::string& name :
         {folder.name("missing/a.txt"), plain + "/a.txt", folder.name("sub"), std::string()}) {
        AtomicFile file(name);
        EXPECT_FALSE(file.isGood()) << name;
        file.write("text");
        EXPECT_FALSE(file.commit()) << name;
        EXPECT_FALSE(file.getError().empty());
    }
    EXPECT_EQ(folder.get("plain"), "x");
    AtomicFile full("/dev/full");  // a device is written directly
    full.write("text");
    EXPECT_FALSE(full.commit());
    AtomicFile vanished(folder.name("sub/a.txt"));
    vanished.write("text");
    std::filesystem::remove_all(folder.path / "sub");
    EXPECT_FALSE(vanished.commit());
    EXPECT_EQ(folder.numFiles(), 1u);
}

TEST(AtomicFile, followsLinksAndKeepsPermissions) {
    const TempFolder folder;
    const std::string name = folder.put("a.txt", "old");
    ::chmod(name.c_str(), 0640);
    std::filesystem::create_symlink(name, folder.path / "link");
    AtomicFile file(folder.name("link"));
    file.write("new");
    EXPECT_TRUE(file.commit());
    EXPECT_TRUE(std::filesystem::is_symlink(folder.path / "link"));
    EXPECT_EQ(folder.get("a.txt"), "new");
    EXPECT_EQ(modeOf(name), 0640u);
}

// Enough text to cross the end of the buffer at every kind of write.
TEST(AtomicFile, printsNumbersLikeAClassicStream) {
    const TempFolder folder;
    AtomicFile file(folder.name("numbers"));
    std::ostringstream expected;
    expected.imbue(std::locale::classic());
    std::mt19937_64 random(1);
    std::vector<double> values = {0.0, -0.0, 0.1, 1e-5, 123456.5, 1e22, std::numeric_limits<double>::infinity()};
    for (int i = 0; i < 40'000; ++i) {
        const auto value = std::bit_cast<double>(random());
        values.push_back(std::isnan(value) ? 0.5 : value);
    }
    for (const double value : values) {
        for (const int digits : {6, 10, 18}) {
            file.writeNumber(value, digits);
            file.write(' ');
            expected.precision(digits);
            expected << value << ' ';
        }
        const auto small = std::bit_cast<float>(static_cast<std::uint32_t>(random()) & 0xbf7fffffu);
        file.writeNumber(small, 6);
        file.write("\n");
        expected.precision(6);
        expected << small << '\n';
    }
    EXPECT_TRUE(file.commit());
    EXPECT_GT(expected.str().size(), std::size_t{2} << 20);
    EXPECT_TRUE(folder.get("numbers") == expected.str());
}

TEST(AtomicFile, shortestNumbersReadBackTheSame) {
    const TempFolder folder;
    AtomicFile file(folder.name("numbers"));
    file.writeShortest(-1.0 / 3.0);
    file.write(' ');
    file.writeShortest(0.1f);
    file.write(' ');
    file.writeInteger(std::numeric_limits<int64>::min());
    EXPECT_TRUE(file.commit());
    EXPECT_EQ(folder.get("numbers"), "-0.3333333333333333 0.1 -9223372036854775808");
}
