// Tests of Kerberos authentication against a real KDC that the test sets up on loopback: its
// own realm, database, keytab and configuration in a temporary directory, reached through
// KRB5_CONFIG, KRB5_KDC_PROFILE, KRB5CCNAME, KRB5_KTNAME and KRB5RCACHEDIR. Nothing of the
// machine's own Kerberos set-up is read or written.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

#include "TestProcess.h"
#include "base/core/CriticalSection.h"
#include "base/process/Environment.h"
#include "base/process/Kerberos.h"

// The Kerberos library keeps the service principal it builds for an acceptor whose keytab
// lacks the key asked for (a refusal this test provokes on purpose); this program never builds
// a principal itself, so leaks of principals are the library's, not ours.
extern "C" const char* __lsan_default_suppressions() { return "leak:krb5_build_principal_alloc_va\n"; }

namespace OrvGuiBase {
namespace {

constexpr const char* kRealm = "ORVGUI.TEST";
const char* const kVariables[] = {"KRB5_CONFIG", "KRB5_KDC_PROFILE", "KRB5CCNAME", "KRB5_KTNAME", "KRB5RCACHEDIR"};

// A loopback port free for both TCP and UDP at the moment of asking.
int FreePort() {
  for (int attempt = 0; attempt < 20; ++attempt) {
    const int tcp = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (bind(tcp, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        getsockname(tcp, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
      close(tcp);
      continue;
    }
    const int udp = socket(AF_INET, SOCK_DGRAM, 0);
    const bool udpFree = bind(udp, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    close(udp);
    close(tcp);
    if (udpFree) return ntohs(address.sin_port);
  }
  return -1;
}

bool Accepts(int port) {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<uint16_t>(port));
  const bool ok = connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  close(fd);
  return ok;
}

class KerberosTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (access("/usr/sbin/krb5kdc", X_OK) != 0 || access("/usr/sbin/kdb5_util", X_OK) != 0 ||
        access("/usr/sbin/kadmin.local", X_OK) != 0) {
      s_skip = "the KDC packages (krb5-kdc, krb5-admin-server) are not installed; 'make deps' installs them";
      return;
    }
    char pattern[] = "/tmp/orvgui-krb5-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    s_dir = pattern;
    s_port = FreePort();
    ASSERT_GT(s_port, 0);
    const std::string port = std::to_string(s_port);
    std::ofstream(s_dir + "/kdc.conf") << "[kdcdefaults]\n kdc_listen = 127.0.0.1:" << port
                                       << "\n kdc_tcp_listen = 127.0.0.1:" << port << "\n[realms]\n " << kRealm
                                       << " = {\n  database_name = " << s_dir << "/principal\n  key_stash_file = " << s_dir
                                       << "/stash\n  acl_file = " << s_dir << "/kadm5.acl\n  max_life = 1h\n }\n"
                                       << "[logging]\n kdc = FILE:" << s_dir << "/kdc.log\n admin_server = FILE:"
                                       << s_dir << "/kadmin.log\n default = FILE:" << s_dir << "/krb5.log\n";
    std::ofstream(s_dir + "/krb5.conf") << "[libdefaults]\n default_realm = " << kRealm
                                        << "\n dns_lookup_kdc = false\n dns_lookup_realm = false\n rdns = false\n"
                                        << " dns_canonicalize_hostname = false\n udp_preference_limit = 1\n[realms]\n " << kRealm
                                        << " = {\n  kdc = 127.0.0.1:" << port << "\n }\n[domain_realm]\n localhost = "
                                        << kRealm << "\n";
    for (const char* name : kVariables) s_saved.push_back(IsEnvSet(name) ? GetEnv(name).GetStr() : "\x01");
    SetEnv("KRB5_CONFIG", (s_dir + "/krb5.conf").c_str());
    SetEnv("KRB5_KDC_PROFILE", (s_dir + "/kdc.conf").c_str());
    SetEnv("KRB5CCNAME", ("FILE:" + s_dir + "/ccache").c_str());
    SetEnv("KRB5_KTNAME", ("FILE:" + s_dir + "/keytab").c_str());
    SetEnv("KRB5RCACHEDIR", s_dir.c_str());

    const auto run = [](const std::vector<std::string>& args) {
      const ProcessResult result = RunProcess(args);
      EXPECT_EQ(result.status, 0) << args[0] << ": " << result.out << result.err;
      return result.status == 0;
    };
    ASSERT_TRUE(run({"/usr/sbin/kdb5_util", "-r", kRealm, "-P", "master-secret", "create", "-s"}));
    for (const std::string& query :
         std::vector<std::string>{"addprinc -pw alice-secret alice", "addprinc -randkey host/localhost",
          "addprinc -randkey ftp/localhost", "ktadd -k " + s_dir + "/keytab host/localhost"})
      ASSERT_TRUE(run({"/usr/sbin/kadmin.local", "-r", kRealm, "-q", query}));
    // Under timeout(1), so that a test process killed before its tear-down leaves no KDC behind
    // for long; the tear-down kills the whole process group.
    s_kdc = std::make_unique<BackgroundProcess>(
        std::vector<std::string>{"/usr/bin/timeout", "600", "/usr/sbin/krb5kdc", "-n", "-r", kRealm});
    ASSERT_GT(s_kdc->GetPid(), 0);
    for (int i = 0; i < 100 && !Accepts(s_port); ++i) usleep(50000);
    ASSERT_TRUE(Accepts(s_port)) << "the KDC does not listen on port " << s_port;
  }

  static void TearDownTestSuite() {
    s_kdc.reset();  // kills the KDC's process group and waits for it
    for (size_t i = 0; i < s_saved.size(); ++i) {
      if (s_saved[i] == "\x01") UnsetEnv(kVariables[i]);
      else SetEnv(kVariables[i], s_saved[i].c_str());
    }
    s_saved.clear();
    std::error_code ignored;
    if (!s_dir.empty()) std::filesystem::remove_all(s_dir, ignored);
  }

  void SetUp() override {
    if (!s_skip.empty()) GTEST_SKIP() << s_skip;
    ASSERT_TRUE(s_kdc != nullptr && s_kdc->GetPid() > 0);
  }

  // Exchange: runs the token exchange to its end; false when a side fails.
  static bool Exchange(KerberosContext& client, KerberosContext& server, const char* target) {
    Blob toServer, toClient;
    for (int round = 0; round < 4; ++round) {
      if (!client.Initiate(target, toClient, toServer)) return false;
      if (toServer.IsEmpty()) return client.IsEstablished() && server.IsEstablished();
      if (!server.Accept(toServer, toClient)) return false;
      if (client.IsEstablished() && toClient.IsEmpty()) return server.IsEstablished();
    }
    return false;
  }

  static inline std::string s_skip;
  static inline std::string s_dir;
  static inline int s_port = -1;
  static inline std::vector<std::string> s_saved;
  static inline std::unique_ptr<BackgroundProcess> s_kdc;
};

TEST_F(KerberosTest, RoundTripAuthenticatesThePrincipal) {
  KerberosContext client, server;
  ASSERT_TRUE(client.AcquireCredentials(KerberosContext::kInitiator, "alice", "alice-secret"))
      << client.GetLastMessage().GetStr();
  ASSERT_TRUE(server.AcquireCredentials(KerberosContext::kAcceptor, nullptr)) << server.GetLastMessage().GetStr();
  EXPECT_TRUE(server.GetPeerPrincipal().IsEmpty()) << "nothing before the exchange";
  ASSERT_TRUE(Exchange(client, server, "host@localhost"))
      << client.GetLastMessage().GetStr() << " / " << server.GetLastMessage().GetStr();
  EXPECT_STREQ(server.GetPeerPrincipal().GetStr(), "alice@ORVGUI.TEST");
  EXPECT_STREQ(server.GetLocalPrincipal().GetStr(), "host/localhost@ORVGUI.TEST");
  EXPECT_STREQ(client.GetPeerPrincipal().GetStr(), "host/localhost@ORVGUI.TEST") << "mutual authentication";
  EXPECT_STREQ(client.GetLocalPrincipal().GetStr(), "alice@ORVGUI.TEST");

  Blob more;
  EXPECT_FALSE(client.Initiate("host@localhost", Blob(), more)) << "already established";
  EXPECT_EQ(errno, EINVAL);
  client.Reset();
  server.Reset();
  ASSERT_TRUE(Exchange(client, server, "host/localhost@ORVGUI.TEST")) << "a full principal as target, again";
  EXPECT_STREQ(server.GetPeerPrincipal().GetStr(), "alice@ORVGUI.TEST");
}

TEST_F(KerberosTest, RefusalsAndBadInput) {
  const struct {
    const char* principal;
    const char* password;
    KerberosContext::Role role;
    int error;  // 0: accepted
    const char* why;
  } kCredentials[] = {
      {"alice", "wrong", KerberosContext::kInitiator, EACCES, "a wrong password"},
      {"mallory", "x", KerberosContext::kInitiator, EACCES, "an unknown principal"},
      {nullptr, nullptr, KerberosContext::kInitiator, EACCES, "no credential cache yet"},
      {"ftp@localhost", nullptr, KerberosContext::kAcceptor, EACCES, "a service without a key in the keytab"},
      {"host@localhost", nullptr, KerberosContext::kAcceptor, 0, "the keytab's service"},
      {"alice", "x", KerberosContext::kAcceptor, EINVAL, "an acceptor has no password"},
      {nullptr, "x", KerberosContext::kInitiator, EINVAL, "a password needs a principal"},
      {"alice", nullptr, static_cast<KerberosContext::Role>(7), EINVAL, "no such role"},
  };
  for (const auto& row : kCredentials) {
    KerberosContext context;
    errno = 0;
    const bool ok = context.AcquireCredentials(row.role, row.principal, row.password);
    EXPECT_EQ(ok, row.error == 0) << row.why;
    if (!ok) {
      EXPECT_EQ(errno, row.error) << row.why << ": " << context.GetLastMessage().GetStr();
      EXPECT_FALSE(context.GetLastMessage().IsEmpty()) << row.why;
    }
  }

  KerberosContext client, server;
  ASSERT_TRUE(client.AcquireCredentials(KerberosContext::kInitiator, "alice", "alice-secret"));
  ASSERT_TRUE(server.AcquireCredentials(KerberosContext::kAcceptor, nullptr));
  Blob token, reply;
  ASSERT_TRUE(client.Initiate("ftp@localhost", Blob(), token)) << "the KDC issues a ticket for ftp/localhost";
  ASSERT_FALSE(token.IsEmpty());
  errno = 0;
  EXPECT_FALSE(server.Accept(token, reply)) << "but this acceptor's keytab holds no key for it";
  EXPECT_EQ(errno, EACCES);
  EXPECT_TRUE(server.GetPeerPrincipal().IsEmpty());
  client.Reset();
  server.Reset();
  EXPECT_FALSE(client.Initiate("nosuch@localhost", Blob(), token)) << "a service the KDC does not know";
  EXPECT_EQ(errno, EACCES);
  const char garbage[] = "\x60\x05not a token";
  EXPECT_FALSE(server.Accept(Blob(garbage, sizeof garbage), reply));
  EXPECT_FALSE(server.GetLastMessage().IsEmpty());
  EXPECT_FALSE(server.Accept(Blob(), reply)) << "an acceptor needs a token";
  EXPECT_EQ(errno, EINVAL);
  EXPECT_FALSE(server.Initiate("host@localhost", Blob(), reply)) << "wrong role";
  EXPECT_FALSE(server.IsEstablished());
}

TEST_F(KerberosTest, CallsAreSerialisedThroughTheNonReentrantSection) {
  KerberosContext client;
  std::atomic<bool> done{false};
  EnterNonReentrantSection();
  std::thread other([&] {
    EXPECT_TRUE(client.AcquireCredentials(KerberosContext::kInitiator, "alice", "alice-secret"));
    done = true;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  EXPECT_FALSE(done) << "the GSS-API call waits while another thread holds the section";
  LeaveNonReentrantSection();
  other.join();
  EXPECT_TRUE(done);

  // Two exchanges at once on two threads both complete.
  std::atomic<int> succeeded{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 2; ++t)
    threads.emplace_back([&] {
      KerberosContext c, s;
      if (c.AcquireCredentials(KerberosContext::kInitiator, "alice", "alice-secret") &&
          s.AcquireCredentials(KerberosContext::kAcceptor, nullptr) && Exchange(c, s, "host@localhost") &&
          s.GetPeerPrincipal() == "alice@ORVGUI.TEST")
        ++succeeded;
    });
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(succeeded, 2);
}

}  // namespace
}  // namespace OrvGuiBase
