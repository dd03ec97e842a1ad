// Kerberos.cpp: the GSS-API calls behind KerberosContext, each inside the non-reentrant
// section.
#include "base/process/Kerberos.h"

#include <gssapi/gssapi.h>
#include <gssapi/gssapi_ext.h>
#include <gssapi/gssapi_krb5.h>

#include <cerrno>
#include <cstring>

#include "base/core/CriticalSection.h"

namespace OrvGuiBase {

namespace {

// GssSection: holds the non-reentrant section for the life of one GSS-API sequence.
class GssSection {
 public:
  GssSection() { EnterNonReentrantSection(); }
  ~GssSection() { LeaveNonReentrantSection(); }
  GssSection(const GssSection&) = delete;
  GssSection& operator=(const GssSection&) = delete;
};

gss_cred_id_t Credentials(void* p) { return static_cast<gss_cred_id_t>(p); }
gss_ctx_id_t Context(void* p) { return static_cast<gss_ctx_id_t>(p); }

// StatusText: GSS-API's messages for a major and minor status, joined by "; " (in section).
AnsiStr StatusText(OM_uint32 major, OM_uint32 minor) {
  AnsiStr text;
  const auto append = [&text](OM_uint32 code, int type) {
    OM_uint32 context = 0;
    do {
      OM_uint32 ignored = 0;
      gss_buffer_desc message = GSS_C_EMPTY_BUFFER;
      if (GSS_ERROR(gss_display_status(&ignored, code, type, gss_mech_krb5, &context, &message))) return;
      if (!text.IsEmpty()) text += "; ";
      text.Append(AnsiSubStr(static_cast<const char*>(message.value), static_cast<uint32_t>(message.length)));
      gss_release_buffer(&ignored, &message);
    } while (context != 0);
  };
  append(major, GSS_C_GSS_CODE);
  if (minor != 0) append(minor, GSS_C_MECH_CODE);
  return text;
}

// ImportName: a principal ("alice", "alice@R", "host/db@R") or a host-based service
// ("service@host", when hostBased allows it and there is no '/'), in section.
bool ImportName(const char* text, bool hostBased, gss_name_t& name, OM_uint32& major, OM_uint32& minor) {
  gss_buffer_desc buffer{strlen(text), const_cast<char*>(text)};
  const bool service = hostBased && strchr(text, '/') == nullptr && strchr(text, '@') != nullptr;
  major = gss_import_name(&minor, &buffer, service ? GSS_C_NT_HOSTBASED_SERVICE : GSS_KRB5_NT_PRINCIPAL_NAME, &name);
  return !GSS_ERROR(major);
}

// NameText: the display form of a name (in section); empty on failure.
AnsiStr NameText(gss_name_t name) {
  OM_uint32 minor = 0;
  gss_buffer_desc buffer = GSS_C_EMPTY_BUFFER;
  if (name == GSS_C_NO_NAME || GSS_ERROR(gss_display_name(&minor, name, &buffer, nullptr))) return AnsiStr();
  AnsiStr text(static_cast<const char*>(buffer.value), static_cast<uint32_t>(buffer.length));
  gss_release_buffer(&minor, &buffer);
  return text;
}

int ErrnoFor(OM_uint32 major) {
  const OM_uint32 routine = GSS_ROUTINE_ERROR(major);
  if (routine == GSS_S_BAD_NAME || routine == GSS_S_BAD_NAMETYPE || routine == GSS_S_BAD_MECH ||
      routine == GSS_S_NO_CONTEXT || routine == GSS_S_BAD_BINDINGS)
    return EINVAL;
  return EACCES;
}

}  // namespace

KerberosContext::~KerberosContext() { ReleaseAll(); }

void KerberosContext::Reset() {
  GssSection section;
  OM_uint32 minor = 0;
  if (m_context != nullptr) {
    gss_ctx_id_t context = Context(m_context);
    gss_delete_sec_context(&minor, &context, GSS_C_NO_BUFFER);
  }
  m_context = nullptr;
  m_established = false;
  m_peer = AnsiStr();
  m_local = AnsiStr();
}

void KerberosContext::ReleaseAll() {
  Reset();
  GssSection section;
  OM_uint32 minor = 0;
  if (m_credentials != nullptr) {
    gss_cred_id_t credentials = Credentials(m_credentials);
    gss_release_cred(&minor, &credentials);
  }
  m_credentials = nullptr;
  m_hasCredentials = false;
}

bool KerberosContext::AcquireCredentials(Role role, const char* principal, const char* password) {
  ReleaseAll();
  m_message = AnsiStr();
  if ((role != kInitiator && role != kAcceptor) || (password != nullptr && (role != kInitiator || principal == nullptr))) {
    m_message = "bad arguments";
    errno = EINVAL;
    return false;
  }
  m_role = role;
  GssSection section;
  OM_uint32 major = GSS_S_COMPLETE, minor = 0;
  gss_name_t name = GSS_C_NO_NAME;
  if (principal != nullptr && !ImportName(principal, role == kAcceptor, name, major, minor)) {
    m_message = StatusText(major, minor);
    errno = EINVAL;
    return false;
  }
  gss_OID_desc mech = *gss_mech_krb5;
  gss_OID_set_desc mechs{1, &mech};
  const gss_cred_usage_t usage = role == kInitiator ? GSS_C_INITIATE : GSS_C_ACCEPT;
  gss_cred_id_t credentials = GSS_C_NO_CREDENTIAL;
  if (password != nullptr) {
    gss_buffer_desc secret{strlen(password), const_cast<char*>(password)};
    major = gss_acquire_cred_with_password(&minor, name, &secret, GSS_C_INDEFINITE, &mechs, usage, &credentials,
                                           nullptr, nullptr);
  } else {
    major = gss_acquire_cred(&minor, name, GSS_C_INDEFINITE, &mechs, usage, &credentials, nullptr, nullptr);
  }
  OM_uint32 ignored = 0;
  if (name != GSS_C_NO_NAME) gss_release_name(&ignored, &name);
  if (GSS_ERROR(major)) {
    m_message = StatusText(major, minor);
    errno = ErrnoFor(major);
    return false;
  }
  m_credentials = credentials;
  m_hasCredentials = true;
  return true;
}

bool KerberosContext::Initiate(const char* target, const Blob& input, Blob& output) {
  if (target == nullptr || m_role != kInitiator) {
    m_message = "Initiate needs a target and initiator credentials";
    errno = EINVAL;
    return false;
  }
  return Step(target, input, output);
}

bool KerberosContext::Accept(const Blob& input, Blob& output) {
  if (m_role != kAcceptor || input.IsEmpty()) {
    m_message = "Accept needs a token and acceptor credentials";
    errno = EINVAL;
    return false;
  }
  return Step(nullptr, input, output);
}

bool KerberosContext::Step(const char* target, const Blob& input, Blob& output) {
  output = Blob();
  m_message = AnsiStr();
  if (!m_hasCredentials || m_established) {
    m_message = m_established ? "the context is already established" : "no credentials";
    errno = EINVAL;
    return false;
  }
  GssSection section;
  OM_uint32 major = GSS_S_COMPLETE, minor = 0, ignored = 0;
  gss_buffer_desc in{input.GetLength(), const_cast<uint8_t*>(input.GetData())};
  gss_buffer_desc out = GSS_C_EMPTY_BUFFER;
  gss_ctx_id_t context = Context(m_context);
  if (target != nullptr) {
    gss_name_t name = GSS_C_NO_NAME;
    if (!ImportName(target, true, name, major, minor)) {
      m_message = StatusText(major, minor);
      errno = EINVAL;
      return false;
    }
    major = gss_init_sec_context(&minor, Credentials(m_credentials), &context, name, gss_mech_krb5,
                                 GSS_C_MUTUAL_FLAG | GSS_C_INTEG_FLAG, 0, GSS_C_NO_CHANNEL_BINDINGS,
                                 input.IsEmpty() ? GSS_C_NO_BUFFER : &in, nullptr, &out, nullptr, nullptr);
    gss_release_name(&ignored, &name);
  } else {
    major = gss_accept_sec_context(&minor, &context, Credentials(m_credentials), &in, GSS_C_NO_CHANNEL_BINDINGS,
                                   nullptr, nullptr, &out, nullptr, nullptr, nullptr);
  }
  m_context = context;
  if (out.length != 0) output.Set(out.value, static_cast<uint32_t>(out.length));
  gss_release_buffer(&ignored, &out);
  if (GSS_ERROR(major)) {
    m_message = StatusText(major, minor);
    // A failed context cannot continue; the next exchange starts afresh.
    if (context != GSS_C_NO_CONTEXT) gss_delete_sec_context(&ignored, &context, GSS_C_NO_BUFFER);
    m_context = nullptr;
    errno = ErrnoFor(major);
    return false;
  }
  if (!(major & GSS_S_CONTINUE_NEEDED)) {
    gss_name_t source = GSS_C_NO_NAME, destination = GSS_C_NO_NAME;
    if (!GSS_ERROR(gss_inquire_context(&minor, context, &source, &destination, nullptr, nullptr, nullptr, nullptr,
                                       nullptr))) {
      m_local = NameText(target != nullptr ? source : destination);
      m_peer = NameText(target != nullptr ? destination : source);
      gss_release_name(&ignored, &source);
      gss_release_name(&ignored, &destination);
    }
    m_established = true;
  }
  return true;
}

}  // namespace OrvGuiBase
