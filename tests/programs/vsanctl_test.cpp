// The program vsanctl against a running switchd: what it prints, and how it ends.
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "platform/kdx.h"
#include "running_switch.h"
#include "switchplatform/run_dir.h"
#include "switchplatform/shared_page.h"

namespace {

using nlohmann::json;

struct Vsanctl : running_switch {
  void expect_done(const std::vector<std::string> &arguments) const {
    const program_result result = run(arguments);
    EXPECT_EQ(result.code, 0) << result.err;
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "");
  }
  // A refusal that names each of the words, and changes nothing that is shown.
  void expect_refused(const std::vector<std::string> &arguments, const std::vector<std::string> &named) const {
    const json before = show({"show", "vsan"});
    const program_result result = run(arguments);
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.out, "");
    for (const std::string &each : named) {
      EXPECT_NE(result.err.find(each), std::string::npos) << each << " in " << result.err;
    }
    EXPECT_EQ(show({"show", "vsan"}), before);
  }
};

TEST_F(Vsanctl, ShowsVsansAsATableAndAsJson) {
  const program_result table = run({"show", "vsan"});
  EXPECT_EQ(table.code, 0);
  EXPECT_EQ(table.out.find("vsan  name"), 0U);
  EXPECT_NE(table.out.find("\n  20  backup"), std::string::npos);
  EXPECT_EQ(table.out.find(" \n"), std::string::npos);
  const json vsans = show({"show", "vsan"})["vsans"];
  ASSERT_EQ(vsans.size(), 6U);
  EXPECT_EQ(vsans[2], json::parse(R"({"vsan":20,"name":"backup","admin":"active","oper":"up","media":"fibre-channel",
    "mtu":2112,"load_balancing":"src-dst","interop":0,"inorder":"on","drop_latency":3000})"));
  EXPECT_EQ(show({"show", "vsan", "20"})["vsans"][0], vsans[2]);
}

TEST_F(Vsanctl, ShowsInterfacesMembershipsTimersAndStatus) {
  EXPECT_EQ(show({"show", "interface"})["interfaces"].size(), 12U);
  const json memberships = show({"show", "membership"})["memberships"];
  ASSERT_EQ(memberships.size(), 7U);
  const json interfaces = show({"show", "interface"})["interfaces"];
  for (const json &each : interfaces) {
    for (const json &pair : memberships) {
      EXPECT_EQ(pair["interface"] == each["index"], pair["name"] == each["name"]);
    }
  }
  const json timers = show({"show", "timers"})["timers"];
  ASSERT_EQ(timers.size(), 7U);
  EXPECT_EQ(timers[0]["vsan"], 0);  // the whole switch
  EXPECT_EQ(show({"show", "timers", "20"})["timers"][0]["r_a_tov"], 9000);
  const json status = show({"show", "status"});
  EXPECT_EQ(status["wwn"], "20:00:02:5a:10:3c:00:01");
  EXPECT_EQ(status["active_memberships"], 7);
  EXPECT_EQ(status["notifications_dropped"], 0);
  EXPECT_EQ(status["services"].size(), 5U);
  EXPECT_TRUE(show({"show", "errors"})["errors"].empty());
}

TEST_F(Vsanctl, CreatesChangesAndDeletesAVsan) {
  expect_done({"vsan", "create", "50", "--name", "web", "--state", "suspended", "--mtu", "2000"});
  expect_done({"vsan", "set", "50", "--name", "web-2", "--interop", "4", "--inorder", "on", "--drop-latency", "1"});
  EXPECT_EQ(show({"show", "vsan", "50"})["vsans"][0],
            json::parse(R"({"vsan":50,"name":"web-2","admin":"suspended","oper":"down","media":"fibre-channel",
    "mtu":2000,"load_balancing":"src-dst-ox","interop":4,"inorder":"on","drop_latency":1})"));
  EXPECT_EQ(show({"show", "notifications"})["queued"], 1);  // its creation
  expect_done({"vsan", "delete", "50"});
  EXPECT_EQ(run({"show", "vsan", "50"}).code, 1);
}

TEST_F(Vsanctl, RefusalsNameTheFieldAndTheValue) {
  expect_refused({"vsan", "create", "20"}, {"vsan 20", "exists"});
  expect_refused({"vsan", "create", "77", "--name", "backup"}, {"name \"backup\"", "in use"});
  expect_refused({"vsan", "set", "20", "--mtu", "99999"}, {"mtu 99999", "256 to 2112"});
  expect_refused({"vsan", "set", "20", "--name", "two words"}, {"name \"two words\"", "blank"});
  expect_refused({"vsan", "set", "20", "--name", std::string(33, 'n')}, {"name \"nnn", "32 octets"});
  expect_refused({"vsan", "set", "20", "--name", std::string(40, 'n')}, {"name \"nnn", "32 octets"});
  expect_refused({"vsan", "set", "20", "--drop-latency", "0"}, {"drop-latency 0"});
  expect_refused({"vsan", "set", "77", "--mtu", "2000"}, {"vsan 77", "no such VSAN"});
  expect_refused({"vsan", "delete", "1"}, {"VSAN 1", "must stay"});
  expect_refused({"interface", "move", "fc1/1", "77"}, {"fc1/1", "vsan 77", "no such VSAN"});
  expect_refused({"interface", "down", "fc7/7"}, {"fc7/7"});
  expect_refused({"timer", "set", "e_d_tov", "4001"}, {"E_D_TOV", "value 4001", "1000 to 4000"});
  expect_refused({"timer", "set", "e_d_tov", "3000", "--vsan", "20"}, {"vsan 20", "forced"});
  expect_refused({"kdx", "commit"}, {"no distribution session", "vsanctl kdx enable"});
  expect_refused({"kdx", "keep-out", "77"}, {"vsan 77"});
}

struct wrong_line {
  std::vector<std::string> words;
  std::vector<std::string> told;  // the word that was wrong, the choices or the range, where help is
};

TEST_F(Vsanctl, WrongCommandLinesNameTheWordAndWhatCouldStandThere) {
  const wrong_line lines[] = {
      {{}, {"a command is missing; there are show, vsan", "vsanctl --help"}},
      {{"show"}, {"show: a command is missing; there are vsan, interface", "vsanctl show --help"}},
      {{"show", "vsan", "ten"}, {"\"ten\"", "1 to 4094"}},
      {{"vsan", "create", "4095"}, {"vsan: \"4095\"", "1 to 4094"}},
      {{"kdx", "keep-out", "0"}, {"\"0\"", "1 to 4094"}},
      {{"timer", "set", "e_d_tov", "abc"}, {"\"abc\"", "1000 to 10000"}},
      {{"switch", "set", "--name", "x", "--network-latency", "60001"}, {"--network-latency: \"60001\"", "0 to 60000"}},
      {{"history", "--object", "vsanNme"}, {"\"vsanNme\"", "vsanNumber, vsanTableLastChange, vsanName"}},
      {{"fault", "hang", "--object", "vsanName", "--opcode", "1"}, {"cannot stand with"}},
      {{"show", "vsan", "-1"}, {"-1"}},
      {{"show", "switches"}, {"\"switches\" is no command; there are vsan", "switch,"}},
      {{"show", "switch", "x"}, {"\"x\" is one word too many"}},
      {{"vsan", "ren", "20", "x"}, {"vsan: \"ren\" is no command; there are create, set, rename, delete"}},
      {{"vsan", "rename", "20"}, {"vsan rename: name is missing"}},
      {{"vsan", "set", "20", "--state", "up"}, {"--state: \"up\": active, suspended are the choices"}},
      {{"vsan", "set", "20", "--mtu"}, {"--mtu: a value is missing"}},
      {{"vsan", "set", "20", "--mut", "3"}, {"no option --mut here; there are --name", "--mtu"}},
      {{"vsan", "set", "20"}, {"nothing to change was given; there are --name", "--drop-latency"}},
      {{"switch", "set"}, {"nothing to set was given", "--network-latency"}},
      {{"switch", "set", "--wwn", "20:00"}, {"\"20:00\"", "20:00:02:00:00:00:00:01"}},
      {{"switch", "set", "--wwn", "0x:00:02:5a:10:3c:00:01"}, {"0x:00:02"}},
      {{"fault", "hang", "--for", "3", "--for", "2"}, {"--for: it is there more than once"}},
      {{"fault", "hang", "--object", "vsanName", "--service", "identity"}, {"--service", "--object"}},
      {{"show", "errors", "--bogus"}, {"no option --bogus here; there are --page, --version"}},
      {{"timer", "set", "edtov", "2000"}, {"\"edtov\": e_d_tov, r_a_tov, d_s_tov, f_s_tov are the choices"}},
      {{"fault", "explode"}, {"\"explode\"", "delay, status, drop"}},
      {{"fault", "delay", "999999999"}, {"milliseconds: \"999999999\"", "0 to 600000"}},
      {{"fault", "hang", "--object", "vsanNam"}, {"\"vsanNam\"", "vsanNumber, vsanTableLastChange, vsanName"}},
      {{"fault", "hang", "--side", "left"}, {"\"left\": both, reads, writes"}},
      {{"debug", "on", "--level", "256"}, {"\"256\"", "0 to 255"}},
      {{"reset"}, {"--yes", "vsanctl export"}},
  };
  for (const wrong_line &line : lines) {
    const program_result result = run(line.words);
    EXPECT_EQ(result.code, 2) << result.err;
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err.find("vsanctl: "), 0U) << result.err;
    for (const std::string &each : line.told) {
      EXPECT_NE(result.err.find(each), std::string::npos) << each << " in " << result.err;
    }
  }
  EXPECT_EQ(run({"--help"}).code, 0);
  EXPECT_EQ(run({"--version"}).out.find("vsanctl "), 0U);
}

TEST_F(Vsanctl, RefusalsAreJsonWhenThatIsAskedFor) {
  const program_result refused = run({"vsan", "set", "20", "--interop", "9", "--json"});
  EXPECT_EQ(refused.code, 1);
  const json error = json::parse(refused.err, nullptr, false)["error"];
  EXPECT_EQ(error["exit_code"], 1);
  EXPECT_EQ(error["status"], 0x40F00108);
  EXPECT_NE(error["text"].get<std::string>().find("interop 9"), std::string::npos);
  EXPECT_EQ(json::parse(run({"--json", "vsan", "ren"}).err, nullptr, false)["error"]["exit_code"], 2);
}

TEST_F(Vsanctl, OutputThatIsLostIsAnError) {
  const program_result result =
      run_program("/bin/sh", {"-c", VSANCTL " --run-dir " + run_dir() + " show vsan >/dev/full"});
  EXPECT_EQ(result.code, 4);
  EXPECT_NE(result.err.find("No space left on device"), std::string::npos) << result.err;
  const program_result followed = run_program(
      "/usr/bin/timeout",
      {"20", "/bin/sh", "-c",
       VSANCTL " --help >/dev/full; exec " VSANCTL " --json --run-dir " + run_dir() + " export >/dev/full"});
  EXPECT_EQ(followed.code, 4);
}

TEST_F(Vsanctl, AClosedStreamIsAnErrorAndDoesNotReachTheSwitch) {
  const program_result result = run_program("/bin/sh", {"-c", VSANCTL " --run-dir " + run_dir() + " export >&-"});
  EXPECT_EQ(result.code, 4) << result.err;
  EXPECT_EQ(file_text(path("stderr")).find("no frame"), std::string::npos);
}

TEST_F(Vsanctl, NumbersAreDecimalUnlessTheySayThatTheyAreHexadecimal) {
  EXPECT_EQ(show({"show", "vsan", "020"})["vsans"][0]["vsan"], 20);
  EXPECT_EQ(show({"show", "vsan", "0x14"})["vsans"][0]["vsan"], 20);
  EXPECT_EQ(run({"show", "vsan", "0x"}).code, 2);
  EXPECT_EQ(run({"show", "vsan", "+20"}).code, 2);
}

TEST_F(Vsanctl, ANameThatIsAnotherInterfacesIndexIsAskedBack) {
  expect_done({"interface", "create", "16781312", "--index", "5"});
  expect_refused({"interface", "down", "16781312"}, {"the name of the one with index 5", "the index of fc1/2"});
}

TEST_F(Vsanctl, FindsTheSwitchThatTheEnvironmentNames) {
  const program_result result =
      run_program("/usr/bin/env", {"SWITCHD_RUN_DIR=" + run_dir(), VSANCTL, "show", "vsan", "20"});
  EXPECT_EQ(result.code, 0) << result.err;
}

TEST_F(Vsanctl, ShowsWhatAppliesToTheWholeSwitch) {
  expect_done({"switch", "set", "--name", "core b", "--wwn", "20:00:02:5a:10:3c:00:ff", "--switch-latency", "7",
               "--network-latency", "8", "--inorder", "on", "--notifications", "off"});
  const json shown = show({"show", "switch"});
  EXPECT_EQ(shown["name"], "core b");
  EXPECT_EQ(shown["wwn"], "20:00:02:5a:10:3c:00:ff");
  EXPECT_EQ(shown["switch_latency"], 7);
  EXPECT_EQ(shown["network_latency"], 8);
  EXPECT_EQ(shown["inorder"], "on");
  EXPECT_EQ(shown["notifications"], "off");
}

TEST_F(Vsanctl, ShowsTheLevelsThatAreOn) {
  expect_done({"debug", "on", "--level", "7"});
  EXPECT_EQ(show({"show", "levels"})["levels"], json::parse(R"([{"level":7,"recorded":false,"printed":true},
    {"level":100,"recorded":true,"printed":false},{"level":101,"recorded":true,"printed":false},
    {"level":102,"recorded":true,"printed":false}])"));
}

TEST_F(Vsanctl, AnInterfaceIsCreatedRenamedAndDeleted) {
  expect_done({"interface", "create", "fc9/1", "--index", "77", "--vsan", "20"});
  expect_done({"interface", "rename", "fc9/1", "fc9/2"});
  EXPECT_EQ(show({"show", "interface"})["interfaces"][0],
            json::parse(R"({"index":77,"name":"fc9/2","state":"up","vsan":20})"));
  EXPECT_EQ(show({"show", "membership"})["memberships"][2],
            json::parse(R"({"vsan":20,"interface":77,"name":"fc9/2","static":true})"));
  expect_refused({"interface", "create", "fc9/2", "--index", "78"}, {"fc9/2", "another interface"});
  expect_refused({"interface", "rename", "fc9/2", std::string(32, 'n')}, {"nnn", "1 to 31"});
  expect_done({"interface", "delete", "77"});
  EXPECT_EQ(show({"show", "interface"})["interfaces"].size(), 12U);
}

TEST_F(Vsanctl, NotificationsAreShownInWords) {
  expect_done({"interface", "move", "fc1/1", "30"});
  expect_done({"vsan", "create", "50"});
  expect_done({"vsan", "delete", "50"});
  const json queue = show({"show", "notifications"});
  std::vector<std::string> meanings;
  for (const json &each : queue["oldest"]) {
    meanings.push_back(each["meaning"]);
  }
  EXPECT_NE(std::ranges::find(meanings, "fc1/1 moved from VSAN 10 to VSAN 30"), meanings.end()) << queue;
  EXPECT_NE(std::ranges::find(meanings, "VSAN 50 was created: active, down"), meanings.end()) << queue;
  EXPECT_NE(std::ranges::find(meanings, "VSAN 50 was deleted"), meanings.end()) << queue;
}

TEST_F(Vsanctl, CompletesWhatIsTyped) {
  const auto completed = [](std::vector<std::string> words) {
    words.insert(words.begin(), "--complete");
    return run_program(VSANCTL, words).out;
  };
  EXPECT_EQ(completed({"vs"}), "vsan\n");
  EXPECT_EQ(completed({"vsan", ""}), "create\nset\nrename\ndelete\n");
  EXPECT_EQ(completed({"vsan", "set", "20", "--st"}), "--state\n");
  EXPECT_EQ(completed({"vsan", "set", "20", "--state", ""}), "active\nsuspended\n");
  EXPECT_EQ(completed({"timer", "set", "r"}), "r_a_tov\n");
  EXPECT_EQ(completed({"fault", "hang", "--object", "vsanIf"}), "vsanIfNumber\nvsanIfVsan\nvsanIfDenyList\n");
  EXPECT_EQ(completed({"kdx", "show-running", ""}), "on\noff\n");
}

TEST_F(Vsanctl, AnInterfaceMovesByNameAndByIndex) {
  expect_done({"interface", "move", "fc1/1", "30"});
  expect_done({"interface", "move", "16781312", "30"});
  EXPECT_EQ(show({"show", "vsan", "10"})["vsans"][0]["oper"], "down");
  expect_done({"interface", "up", "fc1/3"});
  EXPECT_EQ(show({"show", "vsan", "10"})["vsans"][0]["oper"], "up");
  expect_done({"interface", "down", "fc1/3"});
  EXPECT_EQ(show({"show", "vsan", "10"})["vsans"][0]["oper"], "down");
}

TEST_F(Vsanctl, ADistributionSessionFromStartToEnd) {
  ASSERT_EQ(platform_set_run_dir(run_dir().c_str()), 0);
  int enabled = -1;
  int mode = -1;
  EXPECT_EQ(is_kdx_enabled("fctimer", &enabled), 0);
  EXPECT_EQ(enabled, 0);
  expect_done({"kdx", "enable"});
  expect_done({"kdx", "show-running", "on"});
  EXPECT_EQ(is_kdx_enabled("fctimer", &enabled), 0);
  EXPECT_EQ(get_kdx_show_run_mode("fctimer", &mode), 0);
  EXPECT_EQ(enabled, 1);
  EXPECT_EQ(mode, 1);
  platform_page_close();
  expect_done({"timer", "set", "e_d_tov", "1500"});
  const json kdx = show({"show", "kdx"});
  EXPECT_EQ(kdx["session"], true);
  EXPECT_EQ(kdx["pending"], json::parse(R"([{"vsan":0,"timer":"e_d_tov","value":1500}])"));
  EXPECT_EQ(kdx["kept_out"], json::parse(R"([{"vsan":900}])"));
  EXPECT_EQ(show({"show", "timers", "10"})["timers"][0]["e_d_tov"], 2000);
  EXPECT_EQ(show({"show", "timers", "10", "--pending"})["pending_timers"][0]["e_d_tov"], 1500);
  expect_done({"kdx", "commit"});
  EXPECT_EQ(show({"show", "timers", "10"})["timers"][0]["e_d_tov"], 1500);
  expect_done({"kdx", "disable"});
}

TEST_F(Vsanctl, FaultsHitTheirOpcodeAndCountAndCanBeListedAndCleared) {
  expect_done({"fault", "status", "0x40190004", "--opcode", "149", "--count", "1"});
  expect_done({"fault", "short-answer", "8", "--service", "port-manager"});
  EXPECT_EQ(show({"fault", "list"})["faults"].size(), 2U);
  EXPECT_EQ(run({"show", "vsan"}).code, 1);
  EXPECT_EQ(run({"show", "vsan"}).code, 0);
  EXPECT_EQ(run({"show", "interface"}).code, 3);
  expect_done({"fault", "clear"});
  EXPECT_EQ(run({"show", "interface"}).code, 0);
  EXPECT_TRUE(show({"fault", "list"})["faults"].empty());
}

TEST_F(Vsanctl, FaultsHitOneObjectOneSideAndEndByThemselves) {
  expect_done({"fault", "status", "0x40190004", "--object", "vsanName", "--side", "writes"});
  EXPECT_EQ(run({"show", "vsan"}).code, 0);
  EXPECT_EQ(run({"vsan", "set", "20", "--mtu", "2000"}).code, 1);
  expect_done({"fault", "clear"});
  expect_done({"fault", "drop", "--object", "vsanMembershipSummaryInterface", "--for", "1", "--spare-vsanctl"});
  const json fault = show({"fault", "list"})["faults"][0];
  EXPECT_EQ(fault["service"], "port-manager");
  EXPECT_EQ(fault["carries"], "rows of vsanMembershipSummaryTable");
  EXPECT_EQ(fault["spares_vsanctl"], true);
  EXPECT_GT(fault["ends_in"], 0);
  EXPECT_EQ(run({"show", "membership"}).code, 0);  // spared
  usleep(1'100'000);
  EXPECT_TRUE(show({"fault", "list"})["faults"].empty());
}

TEST_F(Vsanctl, WithoutASwitchItSaysSo) {
  stop();
  const program_result result = run({"show", "vsan"});
  EXPECT_EQ(result.code, 3);
  EXPECT_NE(result.err.find(run_dir()), std::string::npos) << result.err;
  EXPECT_NE(result.err.find("systemctl start switchd"), std::string::npos) << result.err;
}

TEST_F(Vsanctl, WithoutTheRightItSaysWhoMay) {
  const auto as_nobody = [this] {
    return run_program("/usr/bin/setpriv", {"--reuid", "65534", "--regid", "65534", "--clear-groups", VSANCTL,
                                            "--run-dir", run_dir(), "show", "vsan"});
  };
  program_result result = as_nobody();
  EXPECT_EQ(result.code, 3);
  EXPECT_NE(result.err.find("may not enter " + directory.path), std::string::npos) << result.err;
  ASSERT_EQ(chmod(directory.path.c_str(), 0755), 0);
  result = as_nobody();
  EXPECT_EQ(result.code, 3);
  EXPECT_NE(result.err.find("only root may use it"), std::string::npos) << result.err;
  ASSERT_EQ(chown((run_dir() + "/control.sock").c_str(), 0, 4), 0);
  result = as_nobody();
  EXPECT_NE(result.err.find("members of group adm may use it: \"adduser nobody adm\""), std::string::npos)
      << result.err;
}

TEST_F(Vsanctl, AHungManagerIsToldAfterTheTimeOut) {
  expect_done({"fault", "hang", "--opcode", "149"});
  const program_result result = run({"show", "vsan"});
  EXPECT_EQ(result.code, 3);
  EXPECT_NE(result.err.find("timed out"), std::string::npos) << result.err;
}

TEST_F(Vsanctl, DeletesAVsanThatSomebodyElseMade) {
  expect_done({"vsan", "create", "50"});  // each command is a session of its own
  expect_done({"vsan", "delete", "50"});
  expect_refused({"vsan", "delete", "50"}, {"VSAN 50", "no such VSAN"});
}

}  // namespace
