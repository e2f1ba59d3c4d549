// Every operation of the schema has a case in catalogue/: a request and the reply to it, as the
// bodies of their envelopes. Replies are compared as XML; the text "*" stands for any text.
#include <algorithm>
#include <boost/property_tree/xml_parser.hpp>
#include <map>
#include <regex>

#include "service_fixture.h"

namespace {

using Tree = boost::property_tree::ptree;

Texts operations() {
  static const std::regex kOperation("\nint (?:__)?n[a-z0-9]+__([A-Za-z]+)\\(");
  const std::string schema = contentsOf(SCHEMA);
  Texts names;
  for (std::sregex_iterator i(schema.begin(), schema.end(), kOperation), end; i != end; ++i) {
    names.push_back((*i)[1]);
  }
  return names;
}

std::string inEnvelope(const std::string& body, bool soap12) {
  static const std::string kPrefixes =
      " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\""
      " xmlns:nsc1=\"http://tarnix.example/TarnixWS\""
      " xmlns:nst1=\"http://tarnix.example/TarnixWSTest\""
      " xmlns:nss1=\"http://tarnix.example/TarnixWSSubscriber\""
      " xmlns:nsvk=\"http://tarnix.example/TarnixWSVK\""
      " xmlns:nsc3=\"http://tarnix.example/TarnixWSC3\"";
  return "<SOAP-ENV:Envelope xmlns:SOAP-ENV=\"" + (soap12 ? kSoap12 : kSoap11) + "\"" + kPrefixes +
         "><SOAP-ENV:Body>" + body + "</SOAP-ENV:Body></SOAP-ENV:Envelope>";
}

using Prefixes = std::map<std::string, std::string>;

std::string qualified(const std::string& name, const Prefixes& prefixes, bool isAttribute) {
  const std::size_t colon = name.find(':');
  const std::string prefix = colon == std::string::npos ? "" : name.substr(0, colon);
  const auto found = prefixes.find(prefix);
  const bool hasNone = found == prefixes.end() || (isAttribute && prefix.empty());
  return (hasNone ? "" : "{" + found->second + "}") + name.substr(colon + 1);
}

// A line for each element: its depth, its name with its namespace, its attributes, its own text.
void describe(const Tree& parent, const std::string& indent, const Prefixes& outer, Texts& lines) {
  for (const auto& [name, element] : parent) {
    if (name == "<xmlattr>") {
      continue;
    }
    Prefixes prefixes = outer;
    const Tree attributes = element.get_child("<xmlattr>", Tree());
    for (const auto& [key, value] : attributes) {
      if (key == "xmlns" || key.starts_with("xmlns:")) {
        prefixes[key.substr(std::min<std::size_t>(key.size(), 6))] = value.data();
      }
    }
    std::string line = indent + qualified(name, prefixes, false);
    for (const auto& [key, value] : attributes) {
      if (!key.starts_with("xmlns")) {
        line += " " + qualified(key, prefixes, true) + "='" + value.data() + "'";
      }
    }
    const bool isLeaf = element.size() == element.count("<xmlattr>");
    lines.push_back(line + (isLeaf ? "=" + element.data() : ""));
    describe(element, indent + "  ", prefixes, lines);
  }
}

Texts described(const std::string& xml) {
  std::istringstream in(xml);
  Tree tree;
  read_xml(in, tree, boost::property_tree::xml_parser::no_comments);
  Texts lines;
  describe(tree, "", {}, lines);
  return lines;
}

void expectSameXml(const std::string& reply, const std::string& expected) {
  const auto lines = described(reply);
  auto wanted = described(expected);
  for (std::size_t i = 0; i < std::min(lines.size(), wanted.size()); ++i) {
    const std::string stem = wanted[i].substr(0, wanted[i].size() - 1);
    if (wanted[i].ends_with("=*") && lines[i].starts_with(stem) && lines[i] != stem) {
      wanted[i] = lines[i];
    }
  }
  EXPECT_EQ(lines, wanted) << reply;
}

class Catalogue : public ServiceTest, public testing::WithParamInterface<std::string> {
 protected:
  Catalogue() {
    file_ = contentsOf(folder() / (GetParam() + ".xml"));
    copyWaveform("same-binary", "sag");
    for (const char* log : {"alarms", "system", "deltas"}) {
      devctl({"events", "append", root() / (std::string(log) + ".db")},
             folder() / (std::string(log) + ".jsonl"));
    }
    devctl({"trends", "append", root() / "trends.db"}, folder() / "trends.json");
  }

  static fs::path folder() { return CATALOGUE; }
  void devctl(const Texts& arguments, const fs::path& in) {
    const Outcome outcome = runProgram(root(), DEVCTL, arguments, in);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
  }

  // What the pattern's group stands for in the case.
  std::string found(const std::string& pattern) const {
    std::smatch match;
    return std::regex_search(file_, match, std::regex(pattern)) ? match[1].str() : std::string();
  }
  std::string section(const std::string& name) const {
    return found("<" + name + "[^>]*>([^]*)</" + name + ">");
  }
  std::string attribute(const std::string& element, const std::string& name) const {
    return found("<" + element + "[^>]* " + name + "=\"([^\"]*)\"");
  }
  FastCgiReply send(const std::string& body, bool soap12 = false) const {
    const std::string user = attribute("case", "user");
    return post(inEnvelope(body, soap12), user.empty() ? "operator" : user);
  }

  // A new service on the data as they were in the beginning.
  void begin() {
    if (pid() > 0) {
      stop(SIGTERM);
    }
    devctl({"store", "import", folder() / "model.json", "--replace"}, "/dev/null");
    start({"-d", "-D", "1", "-a", root() / "alarms.db", "-s", root() / "system.db", "-h",
           root() / "deltas.db", "-t", root() / "trends.db", "-w", waves()});
    if (!section("before").empty()) {
      ASSERT_EQ(send(section("before")).status(), 200);
    }
  }
  void expectAnswer(const std::string& body, const std::string& name, bool soap12 = false) const {
    const FastCgiReply reply = send(body, soap12);
    const std::string status = attribute(name, "status");
    EXPECT_EQ(reply.status(), status.empty() ? 200 : std::stoi(status));
    expectSameXml(reply.body(), inEnvelope(section(name), soap12));
  }

 private:
  std::string file_;
};

TEST_P(Catalogue, AnswersAsClientsKnowIt) {
  const std::string request = section("sent");
  begin();
  expectAnswer(request, "reply");
  begin();
  // A fault looks different there.
  expectAnswer(request, section("reply12").empty() ? "reply" : "reply12", true);

  SCOPED_TRACE("with foreign elements");
  begin();
  const std::string foreign = "<f:foreign xmlns:f=\"urn:f\" a=\"b\">1<f:x/></f:foreign>";
  expectAnswer(std::regex_replace(request, std::regex(">\\s+<"), ">" + foreign + "<"), "reply");

  SCOPED_TRACE("of a wrong type, then absent");
  begin();
  std::istringstream typed(attribute("case", "typed"));
  for (std::string name; typed >> name;) {
    const std::regex element("(<(?:n:)?" + name + ">)[^<]*<");
    ASSERT_TRUE(std::regex_search(request, element)) << name;
    const FastCgiReply reply = send(std::regex_replace(request, element, "$1wrong<"));
    EXPECT_EQ(reply.status(), 500) << name;
    EXPECT_TRUE(contains(reply.body(), "faultstring")) << name;
  }
  const std::string bare =
      request.substr(0, request.find('>') + 1) + request.substr(request.rfind("</"));
  if (attribute("absent", "ends").empty()) {
    expectAnswer(bare, "absent");
  } else {
    EXPECT_FALSE(send(bare).complete);
    EXPECT_TRUE(contains(waitForEnd().err, attribute("absent", "ends")));
  }
}

INSTANTIATE_TEST_SUITE_P(Operation, Catalogue, testing::ValuesIn(operations()),
                         [](const auto& parameter) { return parameter.param; });

TEST(CatalogueFiles, AreThoseOfTheOperations) {
  const auto isCase = [](const auto& file) { return file.path().extension() == ".xml"; };
  const auto files = std::ranges::count_if(fs::directory_iterator(CATALOGUE), isCase);
  EXPECT_EQ(operations().size(), static_cast<std::size_t>(files));
  EXPECT_GE(files, 36);
}

}  // namespace
