// vxpolicy check: the lock-out checks of the pages' Apply, run over a whole GPO without changing it,
// and masks that no credential of the catalogue names. vxpolicy tokens: the catalogue itself.
#include "pages/auth_policy_page.h"
#include "pages/enrollment_page.h"
#include "platform/format.h"
#include "platform/memory/fakes.h"
#include "platform/text.h"
#include "policy/auth_policy.h"
#include "session.h"

namespace vx::vxpolicy {

namespace {

// The boxes of one check, as findings "<section> <policy>: <text>" (questions are not findings).
int Findings(CSession& session, size_t mark, const std::string& where, std::ostream& out) {
  int found = 0;
  const auto& shown = session.Messages().shown;
  for (size_t i = mark; i < shown.size(); ++i) {
    if ((shown[i].type & 0xF) == MB_YESNO) continue;
    out << where << ": " << Utf16ToUtf8(shown[i].text) << "\n";
    ++found;
  }
  return found;
}

// An enabled authentication policy through the page's Apply checks: a role left with unreliable
// credentials only; and combinations naming no credential of the catalogue.
int CheckAuthentication(CSession& session, CGpoFolder& gpo, DWORD section, const SettingInfo& setting,
                        std::ostream& out) {
  const StoredSetting stored = ReadSetting(gpo, section, setting);
  const std::string where = std::string(SectionName(section)) + " " + setting.option;
  if (FAILED(stored.loaded)) {
    out << where << FormatNarrow(": the stored value is unreadable (0x%08X)\n", static_cast<unsigned>(stored.loaded));
    return 1;
  }
  if (stored.state != policy::SettingState::Enabled) return 0;
  int found = 0;
  if (session.HasCatalogue()) {
    for (ULONGLONG mask : stored.masks) {
      if ((mask & ~session.KnownBits()) == 0) continue;
      out << where << ": " << FormatNarrow("0x%I64X", mask) << " holds credentials no plug-in of the catalogue names ("
          << FormatNarrow("0x%I64X", mask & ~session.KnownBits()) << ")\n";
      ++found;
    }
  }
  auto source = std::make_shared<CFolderSource>(gpo);
  auto node = std::make_shared<snapin::CPolicyNode>(session.NodePorts());
  if (FAILED(node->FinalConstruct(section, setting.apt, setting.name))) return found;
  node->LoadTokens();
  if (FAILED(node->Load(source.get()))) return found;
  platform::FakeClock clock;
  pages::CAuthPolicyPage page(node, source, clock);
  CHeadlessPageView view;
  page.OnInitDialog(view);
  policy::CGPOAuthPolicy scratch;
  const size_t mark = session.Messages().shown.size();
  page.PolicyToStore(gpo, *page.Roles().Last(), scratch);
  // Its warning about single credentials is the enrollment check's, below, in full.
  auto& shown = session.Messages().shown;
  shown.erase(std::remove_if(shown.begin() + static_cast<std::ptrdiff_t>(mark), shown.end(),
                             [](const CHeadlessMessages::Shown& box) { return (box.type & 0xF0) != MB_ICONERROR; }),
              shown.end());
  return found + Findings(session, mark, where, out);
}

// An enabled enrollment policy through the enrollment page's Apply warnings: logon and runtime
// combinations made only of credentials disabled for enrollment. The folder is open for a dry run.
int CheckEnrollment(CSession& session, CGpoFolder& gpo, DWORD section, std::ostream& out) {
  const SettingInfo& setting = SettingByOption("enrollment");
  if (ReadSetting(gpo, section, setting).state != policy::SettingState::Enabled) return 0;
  auto source = std::make_shared<CFolderSource>(gpo);
  auto node = std::make_shared<snapin::CEnrollmentPolicyNode>(session.NodePorts(), section, rsop::CRsopDataPtr());
  node->LoadTokens();
  if (FAILED(node->Load(source.get()))) return 0;
  pages::CEnrollmentPolicyPage page(node, source);
  CHeadlessEnrollmentView view;
  page.OnInitDialog(view);
  page.OnStateRadio(IDC_DISABLED);  // the same setting applied again
  page.OnStateRadio(IDC_ENABLED);
  const size_t mark = session.Messages().shown.size();
  page.OnApply();
  return Findings(session, mark, std::string(SectionName(section)) + " enrollment", out);
}

}  // namespace

int Check(CSession& session, const std::string& folder, std::ostream& out, std::ostream& err) {
  std::unique_ptr<CGpoFolder> gpo = session.OpenFolder(folder, true);  // nothing is ever written
  if (!session.HasCatalogue())
    err << "vxpolicy: no credential catalogue (--tokens FILE): reliability and unknown credentials are not checked\n";
  int found = 0;
  for (const DWORD section : {policy::VX_GPO_SECTION_MACHINE, policy::VX_GPO_SECTION_USER}) {
    for (const SettingInfo& setting : Settings()) {
      if (setting.apt == 0 || (setting.machineOnly && section != policy::VX_GPO_SECTION_MACHINE)) continue;
      found += CheckAuthentication(session, *gpo, section, setting, out);
    }
    found += CheckEnrollment(session, *gpo, section, out);
  }
  if (found == 0) out << "no problem found\n";
  return found == 0 ? kExitDone : kExitFound;
}

int Tokens(CSession& session, const std::string& exportFile, std::ostream& out, std::ostream& err) {
  if (!session.HasCatalogue()) {
    err << "vxpolicy: no credential catalogue here: give --tokens FILE (written by vxpolicy tokens --export on a "
           "computer with the credential plug-ins); without one, combinations are hex masks\n";
    return exportFile.empty() ? kExitDone : kExitBadInput;
  }
  if (!exportFile.empty()) {
    const std::string text = WriteCatalogue(session.Catalogue());
    const LONG written = session.Ports().files.ReplaceAll(
        Utf8ToUtf16(exportFile), std::span(reinterpret_cast<const BYTE*>(text.data()), text.size()));
    if (written != ERROR_SUCCESS) throw BadInput(exportFile + FormatNarrow(": cannot be written (error %ld)", written));
    out << session.Catalogue().size() << " credentials written to " << exportFile << "\n";
    return kExitDone;
  }
  for (const CatalogueEntry& entry : session.Catalogue())
    out << FormatNarrow("0x%016I64X  type %u  %-10s  ", entry.mask, entry.rawType,
                        entry.reliable ? "reliable" : "unreliable")
        << Utf16ToUtf8(entry.name) << "\n";
  return kExitDone;
}

}  // namespace vx::vxpolicy
