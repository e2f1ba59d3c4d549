// A reader that reads again and again sees what one that reads for the first time sees.
#include "toolkit/leaf_reader.h"

#include "store_fixture.h"
#include "toolkit/leaf_batch.h"

using toolkit::CLeafReader;

namespace {

constexpr int kLeaves = 5000;

class Reader : public ClientTest {
 protected:
  Reader() {
    import(leaves("/Dev/P", kLeaves, CElement(1)));
    for (int i = 0; i < kLeaves; ++i) {
      add("/Dev/P" + std::to_string(i) + "/Value");
    }
    for (const char* path :
         {"/Dev/New", "/Dev:Children", "/Dev/P7:PossibleValues[1]", "//", "/Dev/P7"}) {
      add(path);
    }
    EXPECT_TRUE(reader_.read(cds_));
  }

  void add(const std::string& path) {
    paths_.push_back(path);
    handles_.push_back(reader_.add(path));
  }
  void writeMany(std::size_t count, int value) {
    toolkit::CLeafBatch batch;
    for (std::size_t i = 0; i < count; ++i) {
      batch.add(normalized(paths_[i]), CElement(value));
    }
    EXPECT_EQ(batch.write(cds_, "test"), API_SUCCESS);
  }
  // Number of leaves that differ from what a new reader reads.
  int stale() {
    EXPECT_TRUE(reader_.read(cds_));
    CLeafReader fresh;
    std::vector<CLeafReader::Handle> handles;
    for (const std::string& path : paths_) {
      handles.push_back(fresh.add(path));
    }
    EXPECT_TRUE(fresh.read(cds_));
    int count = 0;
    for (std::size_t i = 0; i < paths_.size(); ++i) {
      count += reader_.status(handles_[i]) != fresh.status(handles[i]) ||
               reader_.source(handles_[i]) != fresh.source(handles[i]) ||
               reader_.text(handles_[i]) != fresh.text(handles[i]);
    }
    return count;
  }

  CLeafReader reader_;
  std::vector<std::string> paths_;
  std::vector<CLeafReader::Handle> handles_;
};

TEST_F(Reader, ReadsWhatWasWrittenSince) {
  EXPECT_EQ(set("/Dev/P3", 2), API_SUCCESS);
  EXPECT_EQ(set("/Elsewhere", 2), API_SUCCESS);
  EXPECT_EQ(stale(), 0);
  EXPECT_EQ(reader_.text(handles_[3]), "2");
  EXPECT_EQ(stale(), 0) << "nobody has written";
  EXPECT_EQ(set("/Dev/P4", "new", PCD_TRUE), API_SUCCESS);
  EXPECT_EQ(set("/Dev/New", 1), API_SUCCESS);
  EXPECT_EQ(set("/Dev/P7:PossibleValues", "a;b;c"), API_SUCCESS);
  EXPECT_EQ(stale(), 0);
  EXPECT_EQ(remove("/Dev/P5"), API_SUCCESS);
  EXPECT_EQ(clear(cds_, "/Dev/New"), API_SUCCESS);
  EXPECT_EQ(stale(), 0);
  add("/Dev/Later");
  EXPECT_EQ(set("/Dev/Later", 1), API_SUCCESS);
  EXPECT_EQ(stale(), 0);
}

TEST_F(Reader, ReadsAllWhereTooMuchWasWritten) {
  for (const int commits : {127, 128, 129, 300}) {
    for (int i = 0; i < commits; ++i) {
      EXPECT_EQ(set("/Dev/P" + std::to_string(i), commits), API_SUCCESS);
    }
    EXPECT_EQ(stale(), 0) << commits;
  }
  for (const std::size_t batch : {4095, 4096, 4097, kLeaves}) {
    writeMany(batch, static_cast<int>(batch));
    EXPECT_EQ(stale(), 0) << batch;
  }
  for (int i = 0; i < 12; ++i) {
    writeMany(4000, i);
    EXPECT_EQ(set("/Dev/P4500", i), API_SUCCESS);
  }
  EXPECT_EQ(stale(), 0) << "more than is kept";
  import(leaves("/Dev/P", kLeaves / 2, CElement(9)));
  EXPECT_EQ(stale(), 0) << "another model";
}

TEST_F(Reader, KeepsUpWithAnotherProcess) {
  ChildProcess writer([this] {
    for (int i = 0; i < kLeaves; ++i) {
      set("/Dev/P" + std::to_string(i), i);
      if (i % 100 == 0) {
        writeMany(static_cast<std::size_t>(i) % 4000, i);
      }
    }
    std::ofstream(folder() / "done") << "";
    return 0;
  });
  int reads = 0;
  for (; !fs::exists(folder() / "done"); ++reads) {
    EXPECT_TRUE(reader_.read(cds_));
  }
  EXPECT_EQ(writer.wait(), 0);
  EXPECT_EQ(stale(), 0) << "after " << reads << " reads";
}

TEST_F(Reader, FollowsItsClient) {
  EXPECT_EQ(set("/Dev/P1", 5), API_SUCCESS);
  cds_.close();
  EXPECT_FALSE(reader_.read(cds_));
  EXPECT_EQ(reader_.status(handles_[1]), API_FAILED);
  ASSERT_EQ(cds_.init(), 0);
  EXPECT_EQ(stale(), 0);
  EXPECT_EQ(reader_.text(handles_[1]), "5");
}

}  // namespace
