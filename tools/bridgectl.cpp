// bridgectl: live control of the simulated switch inside a running bridgesnmp plug-in (or
// any process serving its control socket). Each invocation sends one command line and
// prints the reply's body.
//
// Exit status: 0 when the switch did it, 1 when it refused (the reason on stderr), 2 for a
// bad command line (nothing is sent), 3 when the control socket cannot be reached or does
// not answer.

#include <pwd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/sim/CommandInterpreter.h"
#include "platform/sim/ControlServer.h"

namespace {

constexpr int exitRefused = 1;
constexpr int exitUsage = 2;
constexpr int exitUnreachable = 3;
// Seconds to wait for the server's reply.
constexpr int replyTimeoutSeconds = 30;

// One command of the switch's language as a subcommand: its keyword(s), then its
// arguments in order, the last of them perhaps the remaining words (keyword-value pairs).
class CommandDef {
 public:
   CommandDef(CLI::App& parent, const Sim::CommandSpec& command, const std::string& description)
       : keywords_(command.words.begin(), command.words.end()),
         app_(parent.add_subcommand(keywords_.back(), description)) {
      for (const Sim::CommandArg& arg : command.args) {
         if (arg.kind == Sim::ArgKind::rest) {
            app_->add_option(arg.name, rest_, arg.help);
            continue;
         }
         values_.emplace_back();
         CLI::Option* option = app_->add_option(arg.name, values_.back(), arg.help);
         if (arg.kind != Sim::ArgKind::optional) {
            option->required();
         }
         options_.push_back(option);
      }
   }

   bool parsed() const { return app_->parsed(); }

   // The command's words as the switch reads them.
   std::vector<std::string> words() const {
      std::vector<std::string> words = keywords_;
      for (std::size_t i = 0; i < options_.size(); ++i) {
         if (options_[i]->count() > 0) {
            words.push_back(values_[i]);
         }
      }
      words.insert(words.end(), rest_.begin(), rest_.end());
      return words;
   }

 private:
   std::vector<std::string> keywords_;
   CLI::App* app_;
   std::deque<std::string> values_;  // stable addresses for CLI11 to fill
   std::vector<CLI::Option*> options_;
   std::vector<std::string> rest_;
};

// The switch's commands as subcommands: a group's commands under the group's subcommand,
// except for a group that reads arguments before its verb ("switchport <intf> access ..."),
// which is one subcommand whose description lists the forms of its commands.
std::vector<std::unique_ptr<CommandDef>> defineCommands(CLI::App& app) {
   std::vector<std::unique_ptr<CommandDef>> commands;
   for (const Sim::CommandSpec& command : Sim::commandTable()) {
      if (command.words.size() > 1) {
         continue;
      }
      if (command.parse) {
         commands.push_back(std::make_unique<CommandDef>(app, command, command.help));
      } else if (Sim::argsBeforeVerb(command)) {
         std::string forms;
         for (const Sim::CommandSpec* member : Sim::groupCommands(command)) {
            const std::string usage = Sim::commandUsage(*member);
            forms += (forms.empty() ? ": " : " | ") + usage.substr(usage.find(' ') + 1);
         }
         commands.push_back(std::make_unique<CommandDef>(app, command, command.help + forms));
      } else {
         CLI::App* group = app.add_subcommand(command.words.front(), command.help);
         group->require_subcommand(1);
         for (const Sim::CommandSpec* member : Sim::groupCommands(command)) {
            commands.push_back(std::make_unique<CommandDef>(*group, *member, member->help));
         }
      }
   }
   return commands;
}

// $BRIDGESNMP_CONTROL_SOCKET; else where a switch of this user's listens by default, or, when
// that is not there, the one snmpd started by the system listens on (packaged snmpd starts as
// root, then runs as its own user).
std::string defaultSocket() {
   const char* fromEnvironment = std::getenv("BRIDGESNMP_CONTROL_SOCKET");
   if (fromEnvironment && *fromEnvironment) {
      return fromEnvironment;
   }
   const std::string own = Sim::defaultControlSocketPath();
   const std::string system = "/run/bridgesnmp/control.sock";
   struct stat st {};
   return ::stat(own.c_str(), &st) != 0 && ::stat(system.c_str(), &st) == 0 ? system : own;
}

struct Failure {
   int status;
   std::string message;
};

// Whether a server running as `uid` may hear our commands: root, ourselves, or the user
// Debian's snmpd runs as. Anyone else listening on the path got there first to read them.
bool trustedServer(uid_t uid) {
   if (uid == 0 || uid == ::geteuid()) {
      return true;
   }
   const passwd* snmpd = ::getpwnam("Debian-snmp");
   return snmpd && snmpd->pw_uid == uid;
}

// Sends `line` to the control socket and returns the whole reply.
std::string sendCommand(const std::string& path, const std::string& line) {
   sockaddr_un address{};
   if (path.empty() || path.size() >= sizeof address.sun_path) {
      throw Failure{exitUnreachable, "cannot connect to " + path + ": not a usable socket path"};
   }
   address.sun_family = AF_UNIX;
   std::memcpy(address.sun_path, path.data(), path.size());
   const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
   if (fd < 0) {
      throw Failure{exitUnreachable, std::string("socket: ") + std::strerror(errno)};
   }
   struct Closer {
      int fd;
      ~Closer() { ::close(fd); }
   } closer{fd};
   if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      throw Failure{exitUnreachable,
                    "cannot connect to " + path + ": " + std::strerror(errno) +
                        " (another socket: --socket, BRIDGESNMP_CONTROL_SOCKET, as snmpd.conf's "
                        "bridgesnmpControlSocket sets it)"};
   }
   ucred server{};
   socklen_t length = sizeof server;
   if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &server, &length) != 0 ||
       length != sizeof server || !trustedServer(server.uid)) {
      throw Failure{exitUnreachable, path + " is served by uid " + std::to_string(server.uid) +
                                         ", neither root nor snmpd's user: nothing sent"};
   }
   const timeval timeout{replyTimeoutSeconds, 0};
   ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
   ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);

   const std::string request = line + "\n";
   std::size_t sent = 0;
   while (sent < request.size()) {
      const ssize_t n = ::send(fd, request.data() + sent, request.size() - sent, MSG_NOSIGNAL);
      if (n < 0 && errno == EINTR) {
         continue;
      }
      if (n < 0) {
         // The server may have answered and closed already (a refused line): read on.
         break;
      }
      sent += static_cast<std::size_t>(n);
   }

   std::string reply;
   char buffer[8192];
   for (;;) {
      const ssize_t n = ::recv(fd, buffer, sizeof buffer, 0);
      if (n > 0) {
         reply.append(buffer, static_cast<std::size_t>(n));
         continue;
      }
      if (n == 0) {
         break;
      }
      if (errno == EINTR) {
         continue;
      }
      if (errno == ECONNRESET && !reply.empty()) {
         break;
      }
      if (errno == EAGAIN || errno == EWOULDBLOCK) {
         throw Failure{exitUnreachable, "no reply from " + path + " within " +
                                            std::to_string(replyTimeoutSeconds) + " seconds"};
      }
      throw Failure{exitUnreachable, "reading from " + path + ": " + std::strerror(errno)};
   }
   return reply;
}

// Prints the reply and returns the exit status it stands for.
int report(const std::string& path, const std::string& reply) {
   const std::size_t end = reply.find('\n');
   const std::string first = reply.substr(0, end);
   const std::string body = end == std::string::npos ? std::string() : reply.substr(end + 1);
   if (first == "ok") {
      std::cout << body << std::flush;
      return 0;
   }
   static const std::string errorPrefix = "error: ";
   if (first.compare(0, errorPrefix.size(), errorPrefix) == 0) {
      std::cerr << "bridgectl: " << first.substr(errorPrefix.size()) << std::endl;
      return exitRefused;
   }
   std::cerr << "bridgectl: unexpected reply from " << path << ": '" << first << "'" << std::endl;
   return exitUnreachable;
}

}  // namespace

int main(int argc, char** argv) {
   CLI::App app{
       "Live control of the simulated switch through its control socket. Each command is "
       "sent as one line; the reply's text is printed.\n"
       "Exit status: 0 done, 1 refused by the switch, 2 bad command line, 3 socket "
       "unreachable.",
       "bridgectl"};
   std::string socketPath = defaultSocket();
   app.add_option("-s,--socket", socketPath,
                  "the control socket (default: $BRIDGESNMP_CONTROL_SOCKET, else "
                  "$XDG_RUNTIME_DIR/bridgesnmp.sock, else /run/bridgesnmp/control.sock for "
                  "root, else /tmp/bridgesnmp-<uid>/control.sock; where that is missing, "
                  "/run/bridgesnmp/control.sock)")
       ->capture_default_str();
   app.set_version_flag("--version", std::string("bridgectl ") + BRIDGESNMP_VERSION);
   app.require_subcommand(1);

   const std::vector<std::unique_ptr<CommandDef>> commands = defineCommands(app);

   try {
      app.parse(argc, argv);
   } catch (const CLI::CallForHelp& e) {
      return app.exit(e);
   } catch (const CLI::CallForAllHelp& e) {
      return app.exit(e);
   } catch (const CLI::CallForVersion& e) {
      return app.exit(e);
   } catch (const CLI::RequiredError& e) {
      // "bridgectl bogus" reads as a missing command; name the word that was not one.
      const std::vector<std::string> unused = app.remaining(true);
      if (!unused.empty()) {
         std::cerr << "bridgectl: unknown command '" << unused.front() << "' (see --help)"
                   << std::endl;
      } else {
         app.exit(e);
      }
      return exitUsage;
   } catch (const CLI::ParseError& e) {
      app.exit(e);
      return exitUsage;
   }

   const CommandDef* chosen = nullptr;
   for (const auto& candidate : commands) {
      if (candidate->parsed()) {
         chosen = candidate.get();
      }
   }
   if (!chosen) {
      std::cerr << "bridgectl: no command given (see --help)" << std::endl;
      return exitUsage;
   }

   // Checked here with the switch's own parser, so a bad command is never sent.
   std::string line;
   try {
      line = Sim::joinCommandLine(chosen->words());
      Sim::parseCommand(Sim::splitCommandLine(line));
   } catch (const Sim::CommandError& e) {
      std::cerr << "bridgectl: " << e.what() << std::endl;
      return exitUsage;
   }

   try {
      return report(socketPath, sendCommand(socketPath, line));
   } catch (const Failure& failure) {
      std::cerr << "bridgectl: " << failure.message << std::endl;
      return failure.status;
   }
}
