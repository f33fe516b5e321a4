#include "jorvaudit/checker.h"

#include <gmock/gmock.h>

#include "tests/support/line_text.h"

namespace {

using namespace jorvaudit;  // NOLINT(google-build-using-namespace)
using lines::Stream;
using test_support::LineText;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class LineReaderTest : public testing::Test {
  protected:
    std::set<std::string> expected_ = {"library: hello\n"};
    LineReader reader_{&expected_};
};

TEST_F(LineReaderTest, NoticesAndProgressAreNoFindings) {
    reader_.Add(Stream::kOutput, LineText(lines::kCheckingSharePath, {"/v"}));
    reader_.Add(Stream::kError, LineText(lines::kVerifyFile, {"/v/map/0"}) +
                                    LineText(lines::kVcopyNotFound) + "library: hello\n");
    reader_.Finish();
    EXPECT_THAT(reader_.Findings(), IsEmpty());
    EXPECT_THAT(reader_.Unknown(), IsEmpty());
    EXPECT_FALSE(reader_.NamesContainers());
    EXPECT_EQ(reader_.Raw(), "");
}

TEST_F(LineReaderTest, AContainerIsNoticed) {
    reader_.Add(Stream::kError, LineText(lines::kStorageObject));
    EXPECT_TRUE(reader_.NamesContainers());
    EXPECT_THAT(reader_.Findings(), IsEmpty());
}

TEST_F(LineReaderTest, LinesAreKnownHoweverTheyArrive) {
    const std::string text = LineText(lines::kHeaderLoadFailed) +
                             LineText(lines::kCorruptHeader, {"/v/head/3"}) +
                             LineText(lines::kProcessFailed, {"74"});
    for (const char letter : text) {
        reader_.Add(Stream::kError, {&letter, 1});
        reader_.Add(Stream::kOutput, LineText(lines::kCheckingSharePath, {"/v"}));
    }
    reader_.Finish();
    ASSERT_THAT(reader_.Findings(), SizeIs(3));
    EXPECT_EQ(reader_.Findings()[1].line, &lines::kCorruptHeader);
    EXPECT_THAT(reader_.Findings()[1].values, ElementsAre("/v/head/3"));
    EXPECT_EQ(reader_.Raw(),
              "err: [ERROR]: header file load failed!\n"
              "err: [ERROR]: corrupt header file /v/head/3 found\n"
              "err: [ERROR]: extent file process failed74\n");
}

TEST_F(LineReaderTest, ALineOfAnotherStreamIsNotTheSame) {
    reader_.Add(Stream::kOutput, LineText(lines::kHeaderLoadFailed));
    reader_.Add(Stream::kError, LineText(lines::kUnhandledException));
    EXPECT_THAT(reader_.Findings(), IsEmpty());
    EXPECT_THAT(reader_.Unknown(), SizeIs(2));
}

TEST_F(LineReaderTest, ALineThatIsCutShortIsNotKnown) {
    reader_.Add(Stream::kError, "[ERROR]: header file load fai");
    reader_.Finish();
    EXPECT_THAT(reader_.Unknown(), ElementsAre("[ERROR]: header file load fai"));
}

TEST_F(LineReaderTest, AFloodIsCounted) {
    for (int i = 0; i < 100000; ++i) {
        reader_.Add(Stream::kError, LineText(lines::kUnmatchedFingerprint, {"ab"}) + "what\n");
    }
    EXPECT_THAT(reader_.Findings(), SizeIs(1000));
    EXPECT_THAT(reader_.Unknown(), SizeIs(1000));
    EXPECT_LT(reader_.Raw().size(), 70000U);
}

}  // namespace
