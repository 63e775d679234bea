#include "output.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <iostream>

#include "failures.h"
#include "interruption.h"
#include "support/temporary_directory.h"

namespace tavrin::http_tool {
namespace {

using ::testing::ThrowsMessage;

class OutputToFile : public ::testing::Test {
protected:
    OutputToFile()
        : descriptor_(open(directory_.file("f").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)),
          output_(descriptor_, Output::Access::ANYWHERE, "f") {}
    ~OutputToFile() override { close(descriptor_); }

    std::string content() const { return httpclient_core::test::readFile(directory_.file("f")); }

    httpclient_core::test::TemporaryDirectory directory_;
    int descriptor_;
    Output output_;
};

TEST_F(OutputToFile, IsThereAtOnceWithoutFlushing) {
    const auto stream = output_.streamFrom(0);
    *stream << "ab";
    stream->put('c');

    EXPECT_EQ(content(), "abc");
    EXPECT_EQ(output_.end(), 3);
}

TEST_F(OutputToFile, CountsPositionsFromTheOrigin) {
    *output_.streamFrom(0) << "0123456789";

    const auto stream = output_.streamFrom(4);
    EXPECT_EQ(stream->tellp(), std::streampos(0));
    *stream << "xy";

    EXPECT_EQ(stream->tellp(), std::streampos(2));
    EXPECT_EQ(content(), "0123xy6789");
    EXPECT_EQ(output_.end(), 10);
}

TEST_F(OutputToFile, SeeksAsAStreamDoes) {
    *output_.streamFrom(0) << "0123456789";
    const auto stream = output_.streamFrom(2);

    stream->seekp(3);
    stream->seekp(1, std::ios::cur);
    *stream << "a";
    stream->seekp(0, std::ios::end);
    EXPECT_EQ(stream->tellp(), std::streampos(8));
    *stream << "b";

    EXPECT_EQ(content(), "012345a789b");
    EXPECT_TRUE(stream->seekp(-1, std::ios::beg).fail());
}

TEST_F(OutputToFile, CannotBeReadFrom) {
    *output_.streamFrom(0) << "abc";

    EXPECT_EQ(output_.streamFrom(0)->get(), std::char_traits<char>::eof());
}

TEST(OutputToPipe, WritesOnlyAtItsEnd) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    Output output(ends[1], Output::Access::AT_END, "a pipe");
    const auto stream = output.streamFrom(0);
    *stream << "abc";
    stream->seekp(0);
    *stream << "d";

    EXPECT_TRUE(stream->bad());
    EXPECT_EQ(output.errorNumber(), ESPIPE);
    char read[8];
    EXPECT_EQ(::read(ends[0], read, sizeof read), 3);
    close(ends[0]);
    close(ends[1]);
}

TEST(OutputToPipe, ShowsItsObserverAllThatIsWritten) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    Output output(ends[1], Output::Access::AT_END, "a pipe");
    std::string seen;
    output.setObserver([&](const char* data, std::size_t size) { seen.append(data, size); });

    *output.streamFrom(0) << "abc" << 'd';

    EXPECT_EQ(seen, "abcd");
    close(ends[0]);
    close(ends[1]);
}

TEST(OutputToPipe, WaitsForAReaderThatIsSlow) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    Output output(ends[1], Output::Access::AT_END, "a pipe");
    const std::string data(1 << 20, 'x');
    const pid_t reader = fork();
    if (reader == 0) {
        fcntl(ends[0], F_SETFL, 0);
        close(ends[1]);
        std::size_t total = 0;
        char buffer[4096];
        for (ssize_t size; (size = ::read(ends[0], buffer, sizeof buffer)) > 0;) {
            total += static_cast<std::size_t>(size);
        }
        _exit(total == (1 << 20) ? 0 : 1);
    }

    const bool written = output.write(data.data(), data.size(), 0);

    EXPECT_TRUE(written);
    close(ends[0]);
    close(ends[1]);
    int status = -1;
    waitpid(reader, &status, 0);
    EXPECT_EQ(status, 0);
}

TEST(OutputToPipe, GivesUpAReaderThatTakesNothingWhenTheProgramIsToEnd) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const pid_t writer = fork();
    if (writer == 0) {
        alarm(20);
        watchForInterruption();
        Output output(ends[1], Output::Access::AT_END, "a pipe");
        const std::string data(1 << 20, 'x');
        const bool written = output.write(data.data(), data.size(), 0);
        _exit(!written && output.errorNumber() == EINTR ? 0 : 1);
    }
    const int capacity = fcntl(ends[0], F_GETPIPE_SZ);
    for (int held = 0; held < capacity;) ASSERT_EQ(ioctl(ends[0], FIONREAD, &held), 0);

    kill(writer, SIGTERM);

    int status = -1;
    waitpid(writer, &status, 0);
    EXPECT_EQ(status, 0);
    close(ends[0]);
    close(ends[1]);
}

TEST(OutputThatFails, KeepsTheReason) {
    const int descriptor = open("/dev/full", O_WRONLY | O_CLOEXEC);
    Output output(descriptor, Output::Access::AT_END, "\"disk\"");
    const auto stream = output.streamFrom(0);
    *stream << "x";

    EXPECT_TRUE(stream->bad());
    EXPECT_EQ(output.errorNumber(), ENOSPC);
    EXPECT_THAT([&] { output.check(); },
                ThrowsMessage<WriteFailure>("cannot write to \"disk\": No space left on device"));
    close(descriptor);
}

}  // namespace
}  // namespace tavrin::http_tool
