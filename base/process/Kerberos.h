// Kerberos.h: Kerberos authentication through GSS-API: credentials, a security context as
// initiator (client) or acceptor (server), and the principal it authenticated.
//
//   KerberosContext client, server;
//   client.AcquireCredentials(KerberosContext::kInitiator, "alice", "secret");
//   server.AcquireCredentials(KerberosContext::kAcceptor, nullptr);   // the keytab (KRB5_KTNAME)
//   Blob toServer, toClient;
//   while (client.Initiate("host@db.example.com", toClient, toServer) && !toServer.IsEmpty() &&
//          server.Accept(toServer, toClient) && !client.IsEstablished()) {}
//   AnsiStr who = server.GetPeerPrincipal();                          // "alice@EXAMPLE.COM"
//
// The tokens travel between the two sides by whatever transport the caller uses. The
// configuration is Kerberos's own: KRB5_CONFIG (krb5.conf), KRB5CCNAME (the credential cache
// of an initiator without a password) and KRB5_KTNAME (the keytab of an acceptor).
//
// The Kerberos libraries are not reentrant, so every GSS-API call of this library runs inside
// EnterNonReentrantSection; a host that calls them itself should do the same. One object is
// used by one thread at a time. Failures return false with last error EACCES (the peer or the
// KDC refused: wrong password, unknown principal, a bad token), EINVAL (bad arguments or a call
// in the wrong state) or ENOMEM, and GetLastMessage says what GSS-API reported.
// Depends on core and text.
#pragma once

#include "base/core/Export.h"
#include "base/text/AnsiStr.h"
#include "base/text/Blob.h"

namespace OrvGuiBase {

class ORVGUI_API KerberosContext {
 public:
  enum Role : int { kInitiator = 1, kAcceptor = 2 };

  KerberosContext() = default;
  ~KerberosContext();  // deletes the context and releases the credentials
  KerberosContext(const KerberosContext&) = delete;
  KerberosContext& operator=(const KerberosContext&) = delete;

  // AcquireCredentials: the credentials this side authenticates with, replacing earlier ones
  // (and any context). principal: "alice", "alice@REALM" or, for an acceptor,
  // "service@host"; null takes the default (the cache's principal for an initiator, any key of
  // the keytab for an acceptor). password: an initiator with a password asks the KDC for a
  // ticket itself, without a credential cache; null uses the cache (an acceptor ignores it).
  bool AcquireCredentials(Role role, const char* principal, const char* password = nullptr);

  // Initiate: one step of the initiator. target is the service to authenticate to, as
  // "service@host" (host-based) or a full principal ("host/db@REALM"); input is the acceptor's
  // last token (empty on the first call). On success output holds the token to send (empty
  // when none is due) and IsEstablished tells whether the exchange is complete.
  bool Initiate(const char* target, const Blob& input, Blob& output);
  // Accept: one step of the acceptor with the initiator's token; output as for Initiate.
  bool Accept(const Blob& input, Blob& output);

  // IsEstablished: true once the exchange completed on this side.
  bool IsEstablished() const { return m_established; }
  // GetPeerPrincipal: the authenticated principal of the other side ("alice@REALM" for an
  // acceptor, the service's principal for an initiator); empty until established.
  AnsiStr GetPeerPrincipal() const { return m_peer; }
  // GetLocalPrincipal: this side's principal once established.
  AnsiStr GetLocalPrincipal() const { return m_local; }
  // GetLastMessage: GSS-API's text for the last failure ("" after a success).
  AnsiStr GetLastMessage() const { return m_message; }

  // Reset: deletes the context (keeping the credentials), for a new exchange.
  void Reset();

 private:
  bool Step(const char* target, const Blob& input, Blob& output);
  void ReleaseAll();

  void* m_credentials = nullptr;  // gss_cred_id_t
  void* m_context = nullptr;      // gss_ctx_id_t
  Role m_role = kInitiator;
  bool m_hasCredentials = false;
  bool m_established = false;
  AnsiStr m_peer;
  AnsiStr m_local;
  AnsiStr m_message;
};

}  // namespace OrvGuiBase
