#include "show/explain.h"

#include <regex>
#include <vector>

namespace {

struct wording {
  const char *event;  // a regular expression
  const char *words;  // with its groups
};
constexpr wording kWordings[] = {
    {R"~(^requests of user "(.*)" at (.*))~", "user $1 asks, from $2"},
    {R"(Sending\s+GET\s+request to VSAN mgr .*vsanIndex = (\d+))", "reads VSAN $1 from the VSAN manager"},
    {R"(Sending\s+(GET_?NEXT|GETNEXT)\s+request to VSAN mgr .*vsanIndex = (\d+))", "reads the VSAN after $2"},
    {R"(Received\s+\w+\s+response from VSAN mgr .* Index = (\d+) MediaType = \d+, State=(\d+), Mtu=(\d+))",
     "got VSAN $1: state $2, MTU $3"},
    {R"((GET\w*)\s+request FAILED for vsanIndex = (\d+) with error : (.*))", "VSAN $2 could not be read: $3"},
    {R"(found the entry for vsan (\d+) in the cache)", "VSAN $1 is known from this request already"},
    {R"(Sending\s+GET\w*\s+request to VSAN mgr .*ifIndex = (\d+))", "reads interface $1 from the VSAN manager"},
    {R"(Received\s+GET\w*\s+response from VSAN mgr .*ifIndex = (\d+) vsanIfVsan = (\d+))",
     "got interface $1: it is in VSAN $2"},
    {R"(set_(vsan\w+)\(\d+\)\s*: In the RESERVE1 phase)", "checks the value that is to be set to $1"},
    {R"(set_vsanRowStatus\(\d+\) In RESERVE1)", "checks the value that is to be set to vsanRowStatus"},
    {R"(RS_CREATEANDGO)", "a VSAN is to be created"},
    {R"(Adding UNDO entry \(vsanIndex= ?(\d+))", "keeps VSAN $1 as it is, should the SET be undone"},
    {R"(Adding entry vsanIndex (\d+), to vsanEntry_list)", "collects what is to be set in VSAN $1"},
    {R"(Sending SET req to vsan for vsan = (\d+) name (\S*) mediatype \d+ mtu (\d+).* state (\d+))",
     "sends VSAN $1 to the VSAN manager: name $2, MTU $3, state $4"},
    {R"(SET with vsanIndex = (\d+), succeeded)", "VSAN $1 is set"},
    {R"(make DELTE_REQ)", "asks the VSAN manager to delete the VSAN"},
    {R"(UNDO Back out any Changes)", "the SET is undone"},
    {R"(SET with old Values)", "puts the VSAN back as it was"},
    {R"(Incons?ist\w*\s?Name)", "refused: the name or the VSAN does not fit (inconsistentName)"},
    {R"(INCONSISTENTVALUE|INCONSISTANTVALUE)", "refused: the value does not fit the row's state (inconsistentValue)"},
    {R"((\w+) failed : (.*))", "$1 failed: $2"},
    {R"([Rr]et_[Cc]ode:(0x\w+ \(.*\)))", "the VSAN manager says $1"},
    {R"(This Trap is Disabled)", "a notification came and traps are switched off"},
};

const std::vector<std::regex> &compiled() {
  static const std::vector<std::regex> kCompiled = [] {
    std::vector<std::regex> expressions;
    for (const wording &each : kWordings) {
      expressions.emplace_back(each.event, std::regex::icase);
    }
    return expressions;
  }();
  return kCompiled;
}

}  // namespace

std::string explained(const std::string &text) {
  const std::vector<std::regex> &expressions = compiled();
  for (size_t i = 0; i < expressions.size(); ++i) {
    std::smatch found;
    if (std::regex_search(text, found, expressions[i])) {
      return found.format(kWordings[i].words);
    }
  }
  return "";
}
