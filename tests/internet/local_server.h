// SPDX-License-Identifier: MIT
// Starts one of the tests' Python servers on 127.0.0.1 and stops it with the
// object. The server prints "PORT <n>" when it listens.
#pragma once

#include <string>
#include <vector>

namespace vane::test {

class LocalServer {
 public:
  // `script` is a file of tests/internet/servers; `args` follow it.
  LocalServer(const std::string& script, const std::vector<std::string>& args);
  ~LocalServer();
  LocalServer(const LocalServer&) = delete;
  LocalServer& operator=(const LocalServer&) = delete;

  // 0 when the server did not start (the reason is in Why()).
  int Port() const { return m_port; }
  const std::string& Why() const { return m_why; }

 private:
  int m_pid = -1;
  int m_port = 0;
  std::string m_why;
};

}  // namespace vane::test
