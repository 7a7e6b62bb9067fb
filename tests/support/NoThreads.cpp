#include "support/NoThreads.h"

#include <linux/filter.h>
#include <linux/sched.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdlib>

namespace quorvalent::test {

// A root user has no limit of processes. clone3, whose flags lie in memory, is absent, and the C library then
// takes clone, whose flags are its first argument.
void refuseThreads()
{
    std::array program{
        sock_filter BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        sock_filter BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_clone3, 3, 0),
        sock_filter BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_clone, 0, 4),
        sock_filter BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[0])),
        sock_filter BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, CLONE_THREAD, 1, 2),
        sock_filter BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
        sock_filter BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EAGAIN),
        sock_filter BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
    if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0)
        std::abort();
}

} // namespace quorvalent::test
