#include "system/watched_calls.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace test {
namespace {

constexpr std::array calls = {
    Call{SYS_write, "write", true},         Call{SYS_writev, "writev", true},
    Call{SYS_pwrite64, "pwrite", true},     Call{SYS_fsync, "fsync", true},
    Call{SYS_fdatasync, "fdatasync", true}, Call{SYS_close, "close", true},
    Call{SYS_renameat2, "renameat2", true}, Call{SYS_linkat, "linkat", true},
    Call{SYS_openat, "openat", true},       Call{SYS_unlinkat, "unlinkat", false},
#ifdef SYS_rename
    Call{SYS_rename, "rename", true},       Call{SYS_link, "link", true},
    Call{SYS_unlink, "unlink", false},      Call{SYS_poll, "poll", false},
    Call{SYS_select, "select", false},
#endif
    Call{SYS_ppoll, "ppoll", false},        Call{SYS_pselect6, "pselect", false},
    Call{SYS_read, "read", false},          Call{SYS_connect, "connect", false},
    Call{SYS_recvfrom, "recvfrom", false},  Call{SYS_sendto, "sendto", false},
    Call{SYS_recvmsg, "recvmsg", false},    Call{SYS_sendmsg, "sendmsg", false},
    Call{SYS_ioctl, "ioctl", false},        Call{SYS_rt_sigaction, "sigaction", false},
};

bool isWatched(const Call &call, Watched watched) {
    return watched == Watched::Everything || call.ofFiles;
}

} // namespace

const Call &callOf(int number) {
    return *std::find_if(calls.begin(), calls.end(), [number](const Call &call) {
        return call.number == static_cast<unsigned>(number);
    });
}

int watch(Watched watched) {
    std::array<sock_filter, 2 * calls.size() + 2> program{};
    std::size_t size = 0;
    program[size++] = BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr));
    for (const Call &call : calls)
        if (isWatched(call, watched)) {
            program[size++] = BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call.number, 0, 1);
            program[size++] = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF);
        }
    program[size++] = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
    const sock_fprog filter = {static_cast<unsigned short>(size), program.data()};
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    return static_cast<int>(
        syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &filter));
}

} // namespace test
