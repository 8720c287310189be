// What this process may use of the machine it runs on.
//
// A process in a control group is often allowed less than the machine has: it is then slowed down or killed when it behaves as
// if everything were its own. There are two kinds of control groups, and a machine may have both:
//     unified     one tree of groups; a group's limits stand in cpu.max ("150000 100000": microseconds of processor time per
//                 period) and memory.max. Mounted at the root of the mounts, or in "unified" below it.
//     separate    one tree per controller, mounted in a directory with the controller's name; limits stand in cpu.cfs_quota_us
//                 and cpu.cfs_period_us, and in memory.limit_in_bytes.
// Each line of /proc/self/cgroup ("4:memory:/user/job", "0::/user/job" for the unified tree) names this process's group in a
// tree. A limit of any group on the way from there to the tree's root holds for the process, so the lowest one counts. In a
// container the mounted tree often begins at the container's own group while the line still counts from the machine's: of the
// directories on the way then only the last one exists, and it is the right one.
//
// Failure:   what cannot be read or understood is no limit. Nothing is allocated.
// Threads:   safe from any thread.
#ifndef KTB_IMPL_SORT_MACHINE_H
#define KTB_IMPL_SORT_MACHINE_H

// The processors that the calling thread may run on, or, when that is less, as many as the control group's share of processor
// time would keep busy, rounded up. At least 1.
int processorsAtDisposal();

// The bytes of memory that the machine has or, when that is less, the control group may use. ULONG_MAX when neither is known.
unsigned long memoryAtDisposal();

// The limits of the groups that `groupFile` names, looked for below `root`; 0 when there is none. Of use by themselves to tests
// only, which bring a tree of their own.
int processorsOfGroup(const char* groupFile, const char* root);
unsigned long memoryOfGroup(const char* groupFile, const char* root);

#endif
