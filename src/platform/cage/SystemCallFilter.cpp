#include "platform/cage/SystemCallFilter.h"

#include "platform/Error.h"

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/fs.h>
#include <linux/seccomp.h>
#include <linux/sockios.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <initializer_list>
#include <memory>

namespace quorvalent {

namespace {

// The newest call that the lists below were written with (set_mempolicy_home_node). All architectures
// count alike from 424 on.
constexpr unsigned newestConsidered = 450;

constexpr std::array sockets{SCMP_SYS(socket),  SCMP_SYS(socketpair), SCMP_SYS(connect),   SCMP_SYS(bind),
                             SCMP_SYS(listen),  SCMP_SYS(accept),     SCMP_SYS(accept4),   SCMP_SYS(sendto),
                             SCMP_SYS(sendmsg), SCMP_SYS(sendmmsg),   SCMP_SYS(socketcall)};

// Refused with ENOSYS: the C library then takes the older call, whose arguments a filter can see.
constexpr std::array<int, 2> hiddenArguments{SCMP_SYS(clone3), SCMP_SYS(openat2)};

constexpr std::array refused{
    // other processes
    SCMP_SYS(ptrace), SCMP_SYS(process_vm_readv), SCMP_SYS(process_vm_writev), SCMP_SYS(process_madvise),
    SCMP_SYS(process_mrelease), SCMP_SYS(pidfd_open), SCMP_SYS(pidfd_getfd), SCMP_SYS(pidfd_send_signal),
    SCMP_SYS(kcmp), SCMP_SYS(move_pages), SCMP_SYS(migrate_pages), SCMP_SYS(ioprio_set),
    SCMP_SYS(sched_setparam), SCMP_SYS(sched_setscheduler),
    // leaving the process group, which is what is killed in the end
    SCMP_SYS(setsid), SCMP_SYS(setpgid),
    // memory and queues that others share, or that outlive the process
    SCMP_SYS(memfd_create), SCMP_SYS(memfd_secret), SCMP_SYS(shmget), SCMP_SYS(shmat), SCMP_SYS(shmctl),
    SCMP_SYS(semget), SCMP_SYS(semop), SCMP_SYS(semtimedop), SCMP_SYS(semctl), SCMP_SYS(msgget),
    SCMP_SYS(msgsnd), SCMP_SYS(msgrcv), SCMP_SYS(msgctl), SCMP_SYS(ipc), SCMP_SYS(mq_open),
    SCMP_SYS(mq_unlink), SCMP_SYS(add_key), SCMP_SYS(request_key), SCMP_SYS(keyctl),
    // attributes of files
    SCMP_SYS(chmod), SCMP_SYS(fchmod), SCMP_SYS(fchmodat), SCMP_SYS(chown), SCMP_SYS(fchown),
    SCMP_SYS(lchown), SCMP_SYS(fchownat), SCMP_SYS(utime), SCMP_SYS(utimes), SCMP_SYS(futimesat),
    SCMP_SYS(utimensat), SCMP_SYS(setxattr), SCMP_SYS(lsetxattr), SCMP_SYS(fsetxattr), SCMP_SYS(removexattr),
    SCMP_SYS(lremovexattr), SCMP_SYS(fremovexattr),
    // the same of files that cannot be opened
    SCMP_SYS(getxattr), SCMP_SYS(lgetxattr), SCMP_SYS(listxattr), SCMP_SYS(llistxattr),
    // other names for files, and files that are none
    SCMP_SYS(link), SCMP_SYS(linkat), SCMP_SYS(symlink), SCMP_SYS(symlinkat), SCMP_SYS(mknod),
    SCMP_SYS(mknodat),
    // disks that others write to
    SCMP_SYS(sync), SCMP_SYS(syncfs),
    // files by other ways than their path, and what others do with theirs
    SCMP_SYS(name_to_handle_at), SCMP_SYS(open_by_handle_at), SCMP_SYS(inotify_init), SCMP_SYS(inotify_init1),
    SCMP_SYS(fanotify_init), SCMP_SYS(fanotify_mark),
    // mounts and name spaces
    SCMP_SYS(mount), SCMP_SYS(umount), SCMP_SYS(umount2), SCMP_SYS(pivot_root), SCMP_SYS(chroot),
    SCMP_SYS(fsopen), SCMP_SYS(fsconfig), SCMP_SYS(fsmount), SCMP_SYS(fspick), SCMP_SYS(open_tree),
    SCMP_SYS(move_mount), SCMP_SYS(mount_setattr), SCMP_SYS(unshare), SCMP_SYS(setns),
    // large parts of the kernel that no conversion needs
    SCMP_SYS(io_setup), SCMP_SYS(io_destroy), SCMP_SYS(io_getevents), SCMP_SYS(io_submit),
    SCMP_SYS(io_cancel), SCMP_SYS(io_pgetevents), SCMP_SYS(io_uring_setup), SCMP_SYS(io_uring_enter),
    SCMP_SYS(io_uring_register), SCMP_SYS(bpf), SCMP_SYS(perf_event_open), SCMP_SYS(userfaultfd),
    SCMP_SYS(modify_ldt), SCMP_SYS(personality), SCMP_SYS(uselib), SCMP_SYS(lookup_dcookie),
    SCMP_SYS(vmsplice),
    // the machine; the system's own rights refuse these too, unless root runs us
    SCMP_SYS(init_module), SCMP_SYS(finit_module), SCMP_SYS(delete_module), SCMP_SYS(kexec_load),
    SCMP_SYS(kexec_file_load), SCMP_SYS(reboot), SCMP_SYS(swapon), SCMP_SYS(swapoff), SCMP_SYS(acct),
    SCMP_SYS(quotactl), SCMP_SYS(quotactl_fd), SCMP_SYS(settimeofday), SCMP_SYS(stime),
    SCMP_SYS(clock_settime), SCMP_SYS(clock_adjtime), SCMP_SYS(adjtimex), SCMP_SYS(sethostname),
    SCMP_SYS(setdomainname), SCMP_SYS(iopl), SCMP_SYS(ioperm), SCMP_SYS(syslog), SCMP_SYS(vhangup)};

[[noreturn]] void fail(int errorNumber)
{
    throw FileError(errorNumber, "seccomp");
}

// Arguments that the kernel takes as 32 bits are compared as such: a caller may set anything above them.
constexpr scmp_datum_t low32 = 0xffffffff;

scmp_arg_cmp equals(unsigned argument, scmp_datum_t value)
{
    return {argument, SCMP_CMP_MASKED_EQ, low32, value & low32};
}

scmp_arg_cmp hasAll(unsigned argument, scmp_datum_t bits)
{
    return {argument, SCMP_CMP_MASKED_EQ, bits, bits};
}

class Filter
{
public:
    Filter()
        : m_context(::seccomp_init(SCMP_ACT_ALLOW), &::seccomp_release)
    {
        if (!m_context)
            fail(ENOMEM);
        // Calls in another architecture's manner would pass the lists by.
        set(SCMP_FLTATR_ACT_BADARCH, SCMP_ACT_KILL_PROCESS);
        // The caller of enter() has seen to no_new_privs.
        set(SCMP_FLTATR_CTL_NNP, 0);
        // Kernels before 5.16 otherwise slow down all memory accesses, to protect parts of one process from
        // each other; here all of it is trusted equally little.
        set(SCMP_FLTATR_CTL_SSB, 1);
    }

    void refuse(int call, int errorNumber, std::initializer_list<scmp_arg_cmp> when = {}) const
    {
        const int failure =
            ::seccomp_rule_add_array(m_context.get(), SCMP_ACT_ERRNO(static_cast<unsigned>(errorNumber)),
                                     call, static_cast<unsigned>(when.size()), when.begin());
        // -EDOM: this architecture has no such call.
        if (failure != 0 && failure != -EDOM)
            fail(-failure);
    }

    void load() const
    {
        if (const int failure = ::seccomp_load(m_context.get()); failure != 0)
            fail(-failure);
    }

private:
    void set(scmp_filter_attr attribute, std::uint32_t value)
    {
        if (const int failure = ::seccomp_attr_set(m_context.get(), attribute, value); failure != 0)
            fail(-failure);
    }

    std::unique_ptr<void, decltype(&::seccomp_release)> m_context;
};

void refuseArguments(const Filter &filter)
{
    constexpr std::array<unsigned, 7> nameSpaces{CLONE_NEWNS,   CLONE_NEWCGROUP, CLONE_NEWUTS, CLONE_NEWIPC,
                                                 CLONE_NEWUSER, CLONE_NEWPID,    CLONE_NEWNET};
    for (const unsigned nameSpace : nameSpaces)
        filter.refuse(SCMP_SYS(clone), EPERM, {hasAll(0, nameSpace)});

    // The group and everything of the user's; single processes are Landlock's affair.
    filter.refuse(SCMP_SYS(kill), EPERM, {hasAll(0, 0x80000000)});
    // Signals about a file's readiness to whomever.
    constexpr std::array<unsigned, 2> owners{F_SETOWN, 15 /* F_SETOWN_EX */};
    for (const unsigned command : owners)
        filter.refuse(SCMP_SYS(fcntl), EPERM, {equals(1, command)});

    // Limits, priorities and processors of other processes. A filter cannot tell a thread's own number from
    // another's: pthread_setaffinity_np fails in here, sched_setaffinity(0) does not.
    for (const int call : {SCMP_SYS(sched_setattr), SCMP_SYS(sched_setaffinity)})
        filter.refuse(call, EPERM, {{0, SCMP_CMP_NE, 0, 0}});
    filter.refuse(SCMP_SYS(prlimit64), EPERM, {{0, SCMP_CMP_NE, 0, 0}});
    filter.refuse(SCMP_SYS(setpriority), EPERM, {{0, SCMP_CMP_NE, PRIO_PROCESS, 0}});
    filter.refuse(SCMP_SYS(setpriority), EPERM, {{1, SCMP_CMP_NE, 0, 0}});
    // The death with the parent, once asked for, stays.
    filter.refuse(SCMP_SYS(prctl), EPERM, {equals(0, PR_SET_PDEATHSIG), {1, SCMP_CMP_NE, SIGKILL, 0}});
    filter.refuse(SCMP_SYS(prctl), EPERM, {equals(0, PR_SET_DUMPABLE)});

    // Typing into terminals, and attributes of files.
    constexpr std::array<unsigned long, 5> requests{TIOCSTI, TIOCLINUX, FIOSETOWN, FS_IOC_SETFLAGS,
                                                    FS_IOC_FSSETXATTR};
    for (const unsigned long request : requests)
        filter.refuse(SCMP_SYS(ioctl), EPERM, {equals(1, request)});

    // Memory that the limit on private memory would not count.
    filter.refuse(SCMP_SYS(mmap), ENOMEM, {hasAll(3, MAP_SHARED | MAP_ANONYMOUS)});
}

void refuseWhatLandlockLeaves(const Filter &filter, int landlockVersion)
{
    if (landlockVersion < 3) {
        filter.refuse(SCMP_SYS(truncate), EPERM);
        // Opening for reading and emptying in one.
        filter.refuse(SCMP_SYS(open), EPERM, {{1, SCMP_CMP_MASKED_EQ, O_TRUNC | O_ACCMODE, O_TRUNC}});
        filter.refuse(SCMP_SYS(openat), EPERM, {{2, SCMP_CMP_MASKED_EQ, O_TRUNC | O_ACCMODE, O_TRUNC}});
    }
    if (landlockVersion < 6) {
        const auto parent = static_cast<scmp_datum_t>(::getppid());
        for (const int call : {SCMP_SYS(kill), SCMP_SYS(tkill), SCMP_SYS(tgkill), SCMP_SYS(rt_sigqueueinfo),
                               SCMP_SYS(rt_tgsigqueueinfo)})
            filter.refuse(call, EPERM, {equals(0, parent)});
    }
}

// What the kernel learnt after the lists were written does not exist in the cage: one comparison, which the
// library has no means to express.
void refuseNewerCalls()
{
    std::array<sock_filter, 4> program{{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JGT | BPF_K, newestConsidered, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    }};
    const sock_fprog filter{.len = program.size(), .filter = program.data()};
    if (::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_SPEC_ALLOW, &filter) != 0)
        fail(errno);
}

} // namespace

void SystemCallFilter::restrictThisThread(int landlockVersion)
{
    refuseNewerCalls();
    const Filter filter;
    for (const int call : sockets)
        filter.refuse(call, EACCES);
    for (const int call : hiddenArguments)
        filter.refuse(call, ENOSYS);
    for (const int call : refused)
        filter.refuse(call, EPERM);
    refuseArguments(filter);
    refuseWhatLandlockLeaves(filter, landlockVersion);
    filter.load();
}

} // namespace quorvalent
