#include <lumaro/core/ReadLocalFile.h>
#include <lumaro/testsupport/TemporaryFolder.h>

#include <gtest/gtest.h>

namespace {

class ReadLocalFileTest : public ::testing::Test {
protected:
    TestSupport::TemporaryFolder folder;

    std::filesystem::path write(const std::string& name, const std::string& content) const
    {
        return folder.write(name, content);
    }
};

TEST_F(ReadLocalFileTest, ReadsWholeFilesAndRangesByteExactly)
{
    std::string content = "abc";
    content.push_back('\0');
    content += "\r\n\xff"
               "end";
    const auto path = write("data.bin", content);
    EXPECT_EQ(Core::readLocalFile(path), content);
    EXPECT_EQ(Core::readLocalFileRange(path, 2, 4), content.substr(2, 4));
    EXPECT_EQ(Core::readLocalFileRange(path, content.size(), 0), "");
    EXPECT_EQ(Core::readLocalFile(write("empty.bin", "")), "");
}

TEST_F(ReadLocalFileTest, FailuresNameThePath)
{
    const auto missing = folder.path() / "missing.bin";
    try {
        Core::readLocalFile(missing);
        FAIL() << "no exception";
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find(missing.string()), std::string::npos) << error.what();
    }
    const auto path = write("short.bin", "12345");
    try {
        Core::readLocalFileRange(path, 3, 3);
        FAIL() << "no exception";
    } catch (const std::runtime_error& error) {
        const std::string text = error.what();
        EXPECT_NE(text.find(path.string()), std::string::npos) << text;
        EXPECT_NE(text.find("offset 3"), std::string::npos) << text;
    }
    EXPECT_THROW(Core::readLocalFileRange(path, 6, 0), std::runtime_error);
}

} // namespace
