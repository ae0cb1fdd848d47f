// vxpolicy set: one setting of one section changed by the pages' presenters: the authentication policy
// page with its add-credential dialog, or the enrollment page, each driven as an administrator would.
#include <algorithm>

#include "pages/auth_policy_page.h"
#include "pages/enrollment_page.h"
#include "platform/format.h"
#include "platform/memory/fakes.h"
#include "platform/text.h"
#include "policy/auth_policy.h"
#include "session.h"

namespace vx::vxpolicy {

namespace {

struct SetRequest {
  std::string folder, section, policy;
  UINT state = 0;
  std::vector<std::string> combinations;
  bool dryRun = false;
};

SetRequest ParseSet(const std::vector<std::string>& args) {
  SetRequest request;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    const auto value = [&]() -> std::string {
      if (i + 1 >= args.size()) throw BadInput(arg + " needs a value");
      return args[++i];
    };
    const auto setState = [&](UINT state) {
      if (request.state != 0) throw BadInput("give one of --enable, --disable and --not-configured");
      request.state = state;
    };
    if (arg == "--section") {
      request.section = value();
    } else if (arg == "--policy") {
      request.policy = value();
    } else if (arg == "--dry-run") {
      request.dryRun = true;
    } else if (arg == "--disable") {
      setState(IDC_DISABLED);
    } else if (arg == "--not-configured") {
      setState(IDC_NOT_CONFIGURED);
    } else if (arg == "--enable") {
      setState(IDC_ENABLED);
      while (i + 1 < args.size() && args[i + 1].rfind("--", 0) != 0) request.combinations.push_back(args[++i]);
    } else if (request.folder.empty() && arg.rfind("--", 0) != 0) {
      request.folder = arg;
    } else {
      throw BadInput("set: unexpected \"" + arg + "\"");
    }
  }
  if (request.folder.empty()) throw BadInput("set: which GPO folder?");
  if (request.section.empty() || request.policy.empty()) throw BadInput("set: give --section and --policy");
  if (request.state == 0) throw BadInput("set: give --enable COMBINATION..., --disable or --not-configured");
  return request;
}

// The boxes the presenters showed since mark: warnings go to err; the first error is the refusal,
// returned.
std::string Report(CSession& session, size_t mark, std::ostream& err) {
  std::string refusal;
  const auto& shown = session.Messages().shown;
  for (size_t i = mark; i < shown.size(); ++i) {
    const std::string text = Utf16ToUtf8(shown[i].text);
    if ((shown[i].type & 0xF) == MB_YESNO) continue;  // answered Yes; what it replaced is said apart
    if ((shown[i].type & 0xF0) == MB_ICONWARNING) {
      err << "warning: " << text << "\n";
    } else if ((shown[i].type & 0xF0) == MB_ICONERROR && refusal.empty()) {
      refusal = text;
    }
  }
  return refusal;
}

// Composes mask in the add-credential dialog: a primary credential, then a secondary one (or none),
// whose masks make it up. False when the dialog offers no such choice.
bool Compose(pages::CAuthPolicyAdd& dialog, ULONGLONG mask) {
  const auto& primary = dialog.PrimaryItems();
  for (size_t p = 0; p < primary.size(); ++p) {
    const ULONGLONG first = primary[p].data;
    if (first == 0 || (first & ~mask) != 0) continue;
    dialog.OnPrimarySelChange(static_cast<int>(p));
    const auto& secondary = dialog.SecondaryItems();
    if (secondary.empty() && first == mask) return true;
    for (size_t s = 0; s < secondary.size(); ++s) {
      if ((first | secondary[s].data) == mask && (secondary[s].data & first) == 0) {
        dialog.OnSecondarySelChange(static_cast<int>(s));
        return true;
      }
    }
  }
  return false;
}

// An empty GPO: the page starts from no combination, and the requested ones are added in turn.
class ScratchSource final : public snapin::IGpoInformationSource {
 public:
  HRESULT GetGPEInformation(std::shared_ptr<policy::IGpoInformation>& information) override {
    information = std::shared_ptr<policy::IGpoInformation>(&m_gpo, [](policy::IGpoInformation*) {});
    return S_OK;
  }

 private:
  policy::MemoryGpoInformation m_gpo;
};

void SetAuthentication(CSession& session, CGpoFolder& gpo, DWORD section, const SettingInfo& setting,
                       const SetRequest& request, std::ostream& err) {
  auto scratch = std::make_shared<ScratchSource>();
  auto node = std::make_shared<snapin::CPolicyNode>(session.NodePorts());
  if (FAILED(node->FinalConstruct(section, setting.apt, setting.name)) || FAILED(node->Load(scratch.get())))
    throw BadInput("the policy cannot be prepared");
  node->LoadTokens();
  platform::FakeClock clock;  // the enforcement dialog, which keeps its date with the page, is not used here
  pages::CAuthPolicyPage page(node, scratch, clock);
  CHeadlessPageView view;
  ULONGLONG wanted = 0;
  bool composed = false;
  view.composer = [&](pages::CAuthPolicyAdd& dialog, pages::IAuthPolicyAddView& shown) {
    composed = Compose(dialog, wanted);
    if (!composed) return IDCANCEL;
    dialog.OnCloseCmd(IDOK);
    if (static_cast<CHeadlessAddView&>(shown).ended != IDOK) return IDCANCEL;
    for (ULONGLONG replaced : dialog.Replaced())
      err << "note: " << session.MaskText(wanted) << " replaces " << session.MaskText(replaced) << "\n";
    return IDOK;
  };
  page.OnInitDialog(view);
  page.OnStateRadio(request.state);

  policy::RoleSettings unchecked;  // without a catalogue the masks are taken as given
  for (const std::string& text : request.combinations) {
    wanted = session.ParseCombination(text);
    if (wanted == 0) throw BadInput("\"" + text + "\" is no authentication: use --disable for the runtime policy");
    if (!session.HasCatalogue()) {
      if (unchecked.Find(wanted) < 0) unchecked.Add(wanted);
      continue;
    }
    const size_t mark = session.Messages().shown.size();
    page.OnPoliciesLinkClicked(0);
    const std::string refusal = Report(session, mark, err);
    if (!composed)
      throw BadInput("\"" + text +
                     "\" cannot be composed: no primary credential with at most one second credential makes it up");
    if (!refusal.empty()) err << "note: " << refusal << "\n";  // given twice: kept once
  }
  if (!session.HasCatalogue() && request.state == IDC_ENABLED)
    err << "warning: no credential catalogue (--tokens FILE): the masks are stored as given, unchecked\n";

  const policy::RoleSettings* record = session.HasCatalogue() ? page.Roles().Last() : &unchecked;
  policy::CGPOAuthPolicy stored;
  const size_t mark = session.Messages().shown.size();
  const bool accepted = page.PolicyToStore(gpo, *record, stored);
  const std::string refusal = Report(session, mark, err);
  if (!accepted) throw BadInput(refusal + "; nothing was changed");
  const HRESULT saved = stored.Save(&gpo, section, setting.name);
  if (FAILED(saved))
    throw BadInput(
        FormatNarrow("the GPO folder cannot be written (0x%08X); nothing was changed", static_cast<unsigned>(saved)));
}

void SetEnrollment(CSession& session, CGpoFolder& gpo, DWORD section, const SetRequest& request, std::ostream& err) {
  auto node = std::make_shared<snapin::CEnrollmentPolicyNode>(session.NodePorts(), section, rsop::CRsopDataPtr());
  node->LoadTokens();
  auto source = std::make_shared<CFolderSource>(gpo);
  if (FAILED(node->Load(source.get()))) throw BadInput("the enrollment policy cannot be read");
  ULONGLONG allowed = 0;
  for (const std::string& text : request.combinations) allowed |= session.ParseCombination(text);
  pages::CEnrollmentPolicyPage page(node, source);
  CHeadlessEnrollmentView view;
  page.OnInitDialog(view);
  page.OnStateRadio(request.state);
  ULONGLONG ticked = 0;
  for (size_t row = 0; request.state == IDC_ENABLED && row < view.rows.size(); ++row) {
    const bool want = (view.rows[row].mask & ~allowed) == 0;
    if (want) ticked |= view.rows[row].mask;
    if (want == view.rows[row].ticked) continue;
    page.OnTokensItemChanged(static_cast<int>(row), pages::CheckState(view.rows[row].ticked), pages::CheckState(want));
    view.rows[row].ticked = want;
  }
  if ((allowed & ~ticked) != 0)
    throw BadInput(
        FormatNarrow("0x%I64X names no credential of the catalogue; nothing was changed", allowed & ~ticked));
  if (!page.IsModified()) return;
  const size_t mark = session.Messages().shown.size();
  const bool applied = page.OnApply();
  const std::string refusal = Report(session, mark, err);
  if (!applied) throw BadInput(refusal + "; nothing was changed");
}

}  // namespace

int Set(CSession& session, const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  const SetRequest request = ParseSet(args);
  const DWORD section = SectionByName(request.section);
  const SettingInfo& setting = SettingByOption(request.policy);
  if (setting.machineOnly && section != policy::VX_GPO_SECTION_MACHINE)
    throw BadInput(std::string("the user section has no ") + setting.option + " policy");
  if (request.state == IDC_ENABLED && request.combinations.empty() && setting.apt != 0)
    throw BadInput("--enable needs at least one combination");
  std::unique_ptr<CGpoFolder> gpo = session.OpenFolder(request.folder, request.dryRun);
  const std::string before = SettingLine(session, setting, ReadSetting(*gpo, section, setting));
  if (setting.apt == 0) {
    SetEnrollment(session, *gpo, section, request, err);
  } else {
    SetAuthentication(session, *gpo, section, setting, request, err);
  }
  const std::string after = SettingLine(session, setting, ReadSetting(*gpo, section, setting));
  out << SectionName(section) << " " << setting.option << ": " << before << "\n";
  if (after == before) {
    out << "  unchanged\n";
  } else {
    out << (request.dryRun ? "  would become: " : "  now: ") << after << "\n";
  }
  return kExitDone;
}

}  // namespace vx::vxpolicy
