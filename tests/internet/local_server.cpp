// SPDX-License-Identifier: MIT
#include "tests/internet/local_server.h"

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

extern char** environ;

namespace vane::test {

namespace {
constexpr const char* kPython = "/usr/bin/python3";
}

LocalServer::LocalServer(const std::string& script, const std::vector<std::string>& args) {
  if (access(kPython, X_OK) != 0) {
    m_why = "no /usr/bin/python3";
    return;
  }
  int out[2];
  if (pipe(out) != 0) {
    m_why = "pipe failed";
    return;
  }
  const std::string path = std::string(VANE_TEST_SERVER_DIR) + "/" + script;
  std::vector<std::string> words{kPython, "-u", path};
  words.insert(words.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (std::string& w : words) argv.push_back(w.data());
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, out[1], 1);
  posix_spawn_file_actions_addclose(&actions, out[0]);
  pid_t pid = -1;
  const int rc = posix_spawn(&pid, kPython, &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(out[1]);
  if (rc != 0) {
    close(out[0]);
    m_why = "cannot start the server";
    return;
  }
  m_pid = pid;
  std::string line;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(15);
  while (line.find('\n') == std::string::npos && std::chrono::steady_clock::now() < deadline) {
    pollfd p{out[0], POLLIN, 0};
    if (poll(&p, 1, 200) <= 0) continue;
    char buffer[64];
    const ssize_t got = read(out[0], buffer, sizeof buffer);
    if (got <= 0) break;
    line.append(buffer, static_cast<size_t>(got));
  }
  close(out[0]);
  if (line.rfind("PORT ", 0) == 0) m_port = std::atoi(line.c_str() + 5);
  else m_why = line.rfind("NOFTP", 0) == 0 ? "python3-pyftpdlib is not installed" : "the server did not start";
}

LocalServer::~LocalServer() {
  if (m_pid <= 0) return;
  kill(m_pid, SIGTERM);
  for (int i = 0; i < 50; ++i) {
    if (waitpid(m_pid, nullptr, WNOHANG) == m_pid) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  kill(m_pid, SIGKILL);
  waitpid(m_pid, nullptr, 0);
}

}  // namespace vane::test
