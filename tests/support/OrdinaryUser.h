#pragma once

#include <cerrno>
#include <system_error>
#include <unistd.h>

/// As long as it lives the test program is not root, to whom no permission means anything. One lives at a time.
class OrdinaryUser
{
public:
  OrdinaryUser()
  {
    if (wasRoot_)
      become(kNobody, kNobody);
  }
  OrdinaryUser(OrdinaryUser const&) = delete;
  OrdinaryUser& operator=(OrdinaryUser const&) = delete;
  ~OrdinaryUser()
  {
    if (wasRoot_ && (setresuid(0, 0, 0) != 0 || setresgid(0, 0, 0) != 0))
      _exit(1);
  }

private:
  static constexpr unsigned int kNobody = 65534;

  /// Remains able to become root again.
  static void become(uid_t user, gid_t group)
  {
    if (setresgid(group, group, 0) != 0 || setresuid(user, user, 0) != 0)
      throw std::system_error(errno, std::generic_category(), "become an ordinary user");
  }

  bool const wasRoot_ = geteuid() == 0;
};
