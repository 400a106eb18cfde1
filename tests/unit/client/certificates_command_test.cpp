// The certificates the client keeps: made here with the openssl command,
// loaded with `survey client import` and asked through the command. The
// digests and dates expected are those the openssl command and date(1)
// tell of the same files.

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/unit/client/client_fixture.h"

namespace {

using survey::testing::ClientFixture;
using survey::testing::Output;
using survey::testing::Quoted;
using survey::testing::RunShell;
using survey::testing::ShellResult;
using Json = nlohmann::json;
using Strings = std::vector<std::string>;

std::string Trimmed(std::string text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
  return text;
}

std::string WholeFile(std::string const& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

class CertificatesCommandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    folder = client.Scratch() + "/pki";
    // A self-signed certificate valid from now, and two that it signs with
    // chosen starts: one past 2038 (a GeneralizedTime), one before 1970.
    ShellResult const made = RunShell(
        "set -e; mkdir -p " + Quoted(folder) + " && cd " + Quoted(folder) + R"SH( 
ec='-newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes'
openssl req -x509 $ec -keyout root.key -out client.pem -subj /CN=client -days 2
cat > ca.cnf <<'EOF'
[ca]
default_ca = here
[here]
dir = .
database = index.txt
new_certs_dir = .
serial = serial
default_md = sha256
policy = any
[any]
commonName = supplied
EOF
touch index.txt; echo 01 > serial
openssl req -new $ec -keyout server.key -out server.csr -subj /CN=server
openssl ca -batch -config ca.cnf -cert client.pem -keyfile root.key -in server.csr -notext \
  -startdate 20510102030405Z -enddate 20520101000000Z -out server.pem
openssl req -new $ec -keyout old.key -out old.csr -subj /CN=old
openssl ca -batch -config ca.cnf -cert client.pem -keyfile root.key -in old.csr -notext \
  -startdate 19600229235959Z -enddate 20600101000000Z -out old.pem
)SH" + " 2>&1");
    ASSERT_EQ(0, made.status) << made.output;
  }

  std::string Pem(std::string const& name) const { return folder + "/" + name + ".pem"; }

  // The SHA-1 fingerprint as the openssl command tells it, in lower case
  // without the colons.
  std::string OpensslSha1(std::string const& name) const {
    std::string text = Trimmed(Output("openssl x509 -in " + Quoted(Pem(name)) +
                                      " -noout -fingerprint -sha1"));
    text = text.substr(text.find('=') + 1);
    std::string digits;
    for (char const c : text) {
      if (c != ':') digits += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return digits;
  }

  // The start of validity as the openssl command tells it, written by
  // date(1) in the given format.
  std::string OpensslStart(std::string const& name, std::string const& format) const {
    std::string text =
        Trimmed(Output("openssl x509 -in " + Quoted(Pem(name)) + " -noout -startdate"));
    text = text.substr(text.find('=') + 1);
    return Trimmed(Output("date -u -d " + Quoted(text) + " " + Quoted(format)));
  }

  void Load(Json const& document) {
    ShellResult const run = client.Import(document);
    ASSERT_EQ(0, run.status) << run.output;
  }

  Json AllThree() const {
    return Json{{"certificates",
                 Json::array({Json{{"name", "client"}, {"pem", WholeFile(Pem("client"))}},
                              Json{{"name", "server"}, {"file", Pem("server")}},
                              Json{{"name", "old"}, {"file", Pem("old")}}})}};
  }

  ClientFixture client;
  std::string folder;
};

constexpr char kQueryTime[] = "+%a, %d %b %Y %H:%M:%S +0000";

TEST_F(CertificatesCommandTest, TheDigestAndStartAreThoseOfOpenssl) {
  Load(AllThree());
  for (std::string const name : {"client", "server", "old"}) {
    std::string const sha1 = OpensslSha1(name);
    ASSERT_EQ(40u, sha1.size()) << sha1;
    EXPECT_EQ(sha1, client.Value("sha1 of x509 certificate \"" + name + "\"")) << name;
    EXPECT_EQ(OpensslStart(name, kQueryTime),
              client.Value("invalid before of x509 certificate \"" + name + "\""))
        << name;
  }
  EXPECT_EQ("Mon, 02 Jan 2051 03:04:05 +0000",
            OpensslStart("server", kQueryTime));  // the date asked of openssl ca
  // All of them, in the order of their names.
  EXPECT_EQ((Strings{OpensslSha1("client"), OpensslSha1("old"), OpensslSha1("server")}),
            client.Values("sha1s of x509 certificates"));
  survey::testing::QueryAnswer const answer = client.Ask("invalid before of x509 certificate \"old\"");
  EXPECT_EQ((Strings{"time"}), answer.types);
}

TEST_F(CertificatesCommandTest, ListShowsEachCertificateOnALine) {
  Load(AllThree());
  ShellResult const list = client.Client("list certificates", false);
  EXPECT_EQ(0, list.status);
  std::string expected;
  for (std::string const name : {"client", "old", "server"}) {
    expected += name + "\t" + OpensslSha1(name) + "\t" +
                OpensslStart(name, "+%Y-%m-%d %H:%M:%S UTC") + "\n";
  }
  EXPECT_EQ(expected, list.output);
}

TEST_F(CertificatesCommandTest, WithoutCertificatesThereIsNoValue) {
  Load(Json::object());
  EXPECT_TRUE(client.HasNoValue("x509 certificate \"client\""));
  EXPECT_TRUE(client.Values("x509 certificates").empty());
  EXPECT_EQ("", client.Client("list certificates", false).output);
  Load(AllThree());
  EXPECT_TRUE(client.HasNoValue("x509 certificate \"Client\""));
  EXPECT_TRUE(client.HasNoValue("x509 certificate \"\""));
}

TEST_F(CertificatesCommandTest, ExportGivesThePemThatOpensslWrites) {
  Load(AllThree());
  Json const exported = client.Export();
  ASSERT_EQ(3u, exported["certificates"].size()) << exported.dump();
  Json const& old = exported["certificates"][1];
  EXPECT_EQ("old", old["name"].get<std::string>());
  EXPECT_EQ(Output("openssl x509 -in " + Quoted(Pem("old"))), old["pem"].get<std::string>());
  ASSERT_EQ(0, client.Import(exported).status);
  EXPECT_EQ(exported, client.Export());
}

TEST_F(CertificatesCommandTest, RefusedCertificatesLeaveTheRecordsAsTheyWere) {
  Load(AllThree());
  std::string const pem = WholeFile(Pem("client"));
  std::string const begin = "-----BEGIN CERTIFICATE-----\n";
  std::size_t const body = pem.find(begin) + begin.size();
  // The base64 body cut short, and one with its bytes changed in the middle.
  std::string truncated = pem.substr(0, body + 100) + "\n-----END CERTIFICATE-----\n";
  std::string damaged = pem;
  std::fill(damaged.begin() + static_cast<long>(body) + 20,
            damaged.begin() + static_cast<long>(body) + 40, 'A');
  std::string const directory = client.Scratch();
  std::vector<std::pair<Json, std::string>> const refused{
      {Json{{"name", "c"}, {"pem", "not a certificate"}}, "holds no PEM certificate"},
      {Json{{"name", "c"}, {"pem", ""}}, "holds no PEM certificate"},
      {Json{{"name", "c"}, {"pem", truncated}}, "cannot be read"},
      {Json{{"name", "c"}, {"pem", damaged}}, "cannot be read"},
      {Json{{"name", "c"}, {"pem", pem + WholeFile(Pem("server"))}}, "more than one certificate"},
      {Json{{"name", "c"}, {"pem", WholeFile(folder + "/root.key")}}, "cannot be read"},
      {Json{{"name", "c"}, {"file", folder + "/missing.pem"}}, "no such file"},
      {Json{{"name", "c"}, {"file", directory}}, "not a regular file"},
      {Json{{"name", "c"}, {"file", "/dev/zero"}}, "not a regular file"},
      {Json{{"name", "c"}, {"file", folder + "/index.txt"}}, "holds no PEM certificate"},
      {Json{{"name", "c"}, {"pem", pem}, {"file", Pem("client")}}, "either \"pem\" or \"file\""},
      {Json{{"name", "c"}}, "either \"pem\" or \"file\""},
      {Json{{"pem", pem}}, "needs a \"name\""},
      {Json{{"name", ""}, {"pem", pem}}, "cannot be empty"},
      {Json{{"name", "a\nb"}, {"pem", pem}}, "control characters"},
      {Json{{"name", "c"}, {"pem", pem}, {"colour", 1}}, "unknown key \"colour\""},
      {Json("c"), "must be an object"},
  };
  auto const expectRefused = [&](Json const& document, std::string const& message) {
    client.ExpectImportRefused(document.dump(), message);
  };
  for (auto const& [entry, message] : refused) {
    // Beside a setting and a good certificate, which are not written either.
    expectRefused(Json{{"settings", {{"Client", {{"k", "v"}}}}},
                       {"certificates", Json::array({AllThree()["certificates"][0], entry})}},
                  message);
  }
  expectRefused(Json{{"certificates", Json::array({Json{{"name", "c"}, {"pem", pem}},
                                                   Json{{"name", "c"}, {"file", Pem("old")}}})}},
                "comes twice");
  expectRefused(Json{{"certificates", Json::object()}}, "must be a list");
}

}  // namespace
