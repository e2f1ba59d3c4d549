// The command line, by running the program.
#include "service_fixture.h"

namespace {

class CommandLineTest : public ServiceTest {
 protected:
  CommandLineTest() { import(testModel()); }
};

TEST_F(CommandLineTest, EveryErrorNamesTheWordAndShowsTheUsage) {
  const std::tuple<std::vector<std::string>, const char*, const char*> kCases[] = {
      {{"-h"}, "Missing field for: -h \nUsage: dravixd [-h deltaLog]  [-a eventLog] \n", ""},
      {{"-a", ""}, "Bad field:  \nUsage", ""},
      {{"-m", "-1"}, "Bad field: -1 \nUsage", ""},
      {{"-p", "0"}, "Bad field: 0 \nUsage", "Error: invalid page size: 0\n"},
      {{"-l", "x"}, "Bad field: x \nUsage", "Error: invalid heap limit: 0\n"},
      {{"-D", "2x"}, "Bad field: 2x \nUsage", "Error: invalid syslog Level"},
      {{"-m", "99999999999999999999", "-D", "2"},
       "Bad field: 2 \nUsage",
       "Error: invalid syslog Level: Numerical result out of range\n"},
      {{"-d", "bogus", "-x"}, "Unknown parameter: bogus \nUnknown parameter: -x \nUsage", ""},
  };
  for (const auto& [words, out, err] : kCases) {
    const Outcome outcome = run(words);
    EXPECT_EQ(outcome.status, 1) << out;
    EXPECT_TRUE(outcome.out.starts_with(out)) << outcome.out;
    EXPECT_TRUE(outcome.err.starts_with(err)) << outcome.err;
    EXPECT_TRUE(outcome.out.ends_with("\t -v: Print version information to stdout and exit\n\n"));
    EXPECT_FALSE(std::filesystem::exists(socketPath())) << "nothing is started";
  }
}

TEST_F(CommandLineTest, VersionEndsTheReadingOfWords) {
  const Outcome outcome = run({"-v", "bogus"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_TRUE(outcome.out.starts_with(std::string(DRAVIXD_BINARY) +
                                      ": version 2.0.0\ngsoap: version 2.8.6\nBuild date: "))
      << outcome.out;
  EXPECT_TRUE(outcome.out.ends_with("\n$Revision: 64713 $\n\n")) << outcome.out;
}

TEST_F(CommandLineTest, EveryOptionIsTaken) {
  start({"-h",   "-d", "-a",  "a.db", "-s",       "s.db", "-t",     "t.db", "-m", "50x", "-p",
         "4096", "-c", "100", "-l",   "99999999", "-w",   "/waves", "-D",   "9",  "-d"});
  EXPECT_EQ(value("/M1/Count"), "42");
}

}  // namespace
