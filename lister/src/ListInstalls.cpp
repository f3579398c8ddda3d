#include "ListInstalls.h"

#include <csignal>
#include <utility>

#include "InstallArguments.h"
#include "MORDevelopmentStage.h"
#include "MORStringWarning.h"
#include "WriteInstalls.h"

namespace {

// Set up before main, as in every program of the platform: a reader that closes the pipe early must
// turn the remaining writes into errors, not end the process; and the development-stage flag is
// settled from the environment once, before anything consults it.
const bool s_StartedUp = [] {
  std::signal(SIGPIPE, SIG_IGN);
  MORDevelopmentStage::IsOn();
  return true;
}();

constexpr const char* s_Usage =
    "KELListInstalls Lists all the installations that fit the request on the machine.\n"
    "Usage:\n"
    "KELListInstalls [-level instLevel] [-type instType] [-hfxlevel hfLevel] [-xml|-json] "
    "[-o pathToOutputFile] \n"
    "\n"
    "Filters:\n"
    "  -level instLevel: Lists all the installations with Build Level instLevel (e.g. B419).\n"
    "  -type  instType: Lists all the installations with Installation Type instType.\n"
    "  -hfxlevel hfLevel: Lists all the installations with hotfix level hfLevel (e.g. 419.1).\n"
    "\n"
    "Other options:\n"
    "  -xml: Outputs the list in XML format. This is the default.\n"
    "  -json: Outputs the list in JSON format.\n"
    "  -o pathToOutputFile: Outputs the list to a file in XML or JSON format.\n"
    "  -h: This help.\n"
    "It displays for each installation: the level, the installation type, the Hotfix level, the "
    "identifier and the installation directory and returns the number of installations that fit the "
    "request.\n";

}  // namespace

void WriteInstallsUsage(std::ostream& oOut) { oOut << s_Usage; }

int64_t ListInstalls(int iArgc, const char* const* iArgv, std::ostream& oOut, std::ostream& oErr) {
  (void)s_StartedUp;
  MORStringWarning::SetProcessActive(false);

  InstallArguments l_Args = ParseInstallArguments(iArgc, iArgv, oErr);
  // Checked only once the scan is over, so the conflict is reported after an earlier error too, and
  // after a -h that came behind both flags.
  if (l_Args.wantXml && l_Args.wantJson) {
    oErr << "Options -xml and -json cannot be used together." << std::endl;
    WriteInstallsUsage(oOut);
    return 0;
  }
  if (l_Args.showUsage) {
    WriteInstallsUsage(oOut);
    return 0;
  }
  const InstallQuery l_Query = std::move(l_Args.query);
  return l_Args.wantJson ? WriteInstallsJson(l_Query, oOut, oErr) : WriteInstallsXml(l_Query, oOut, oErr);
}
