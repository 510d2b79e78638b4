// A folder mounted elsewhere through FUSE, every file operation held for a given number of
// milliseconds before it is passed on: a database as it is across a slow link to a file
// server, where each stat, open, read, write, rename and close is a round trip.
//
//   vantorel_slow_mount FOLDER MILLISECONDS MOUNTPOINT [FUSE OPTIONS...]
//
// It returns once the mount is in place and serves it in the background until
// `fusermount -u MOUNTPOINT`. The kernel keeps what it learnt of a name or its attributes for a
// second (FUSE's default), as an SMB client does; with -o attr_timeout=0,entry_timeout=0 every
// look-up of every folder on a path reaches the server.

#define FUSE_USE_VERSION 26

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <fuse.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <time.h>
#include <unistd.h>

static int g_folder = -1;  // the folder served, opened before the daemon leaves it
static struct timespec g_delay;

// The link's round trip, then the path below the served folder ("." for its root).
static const char* Slow(const char* path) {
    nanosleep(&g_delay, NULL);
    return path[1] ? path + 1 : ".";
}

static int Result(int result) {
    return result < 0 ? -errno : 0;
}

static int SlowGetattr(const char* path, struct stat* st) {
    return Result(fstatat(g_folder, Slow(path), st, AT_SYMLINK_NOFOLLOW));
}

static int SlowFgetattr(const char* path, struct stat* st, struct fuse_file_info* fi) {
    (void)Slow(path);
    return Result(fstat((int)fi->fh, st));
}

static int SlowAccess(const char* path, int mask) {
    return Result(faccessat(g_folder, Slow(path), mask, 0));
}

static int SlowReadlink(const char* path, char* buffer, size_t size) {
    const ssize_t length = readlinkat(g_folder, Slow(path), buffer, size - 1);
    if (length < 0)
        return -errno;
    buffer[length] = '\0';
    return 0;
}

static int SlowOpendir(const char* path, struct fuse_file_info* fi) {
    const int fd = openat(g_folder, Slow(path), O_RDONLY | O_DIRECTORY);
    DIR* dir = fd < 0 ? NULL : fdopendir(fd);
    if (!dir) {
        const int error = errno;
        if (fd >= 0)
            close(fd);
        return -error;
    }
    fi->fh = (uint64_t)(uintptr_t)dir;
    return 0;
}

static int SlowReaddir(const char* path, void* buffer, fuse_fill_dir_t fill, off_t offset,
                       struct fuse_file_info* fi) {
    (void)offset;
    (void)Slow(path);
    DIR* dir = (DIR*)(uintptr_t)fi->fh;
    rewinddir(dir);
    errno = 0;
    for (struct dirent* entry = readdir(dir); entry; entry = readdir(dir)) {
        struct stat st = {.st_ino = entry->d_ino, .st_mode = (mode_t)DTTOIF(entry->d_type)};
        if (fill(buffer, entry->d_name, &st, 0))
            return 0;
    }
    return -errno;
}

static int SlowReleasedir(const char* path, struct fuse_file_info* fi) {
    (void)Slow(path);
    closedir((DIR*)(uintptr_t)fi->fh);
    return 0;
}

static int SlowFsyncdir(const char* path, int datasync, struct fuse_file_info* fi) {
    (void)Slow(path);
    const int fd = dirfd((DIR*)(uintptr_t)fi->fh);
    return Result(datasync ? fdatasync(fd) : fsync(fd));
}

static int SlowMknod(const char* path, mode_t mode, dev_t device) {
    return Result(mknodat(g_folder, Slow(path), mode, device));
}

static int SlowMkdir(const char* path, mode_t mode) {
    return Result(mkdirat(g_folder, Slow(path), mode));
}

static int SlowUnlink(const char* path) {
    return Result(unlinkat(g_folder, Slow(path), 0));
}

static int SlowRmdir(const char* path) {
    return Result(unlinkat(g_folder, Slow(path), AT_REMOVEDIR));
}

static int SlowSymlink(const char* target, const char* path) {
    return Result(symlinkat(target, g_folder, Slow(path)));
}

// FUSE 2 has no rename flags: the kernel refuses RENAME_NOREPLACE on this mount, and the
// program falls back to link and unlink, as on many file servers.
static int SlowRename(const char* from, const char* to) {
    return Result(renameat(g_folder, Slow(from), g_folder, to[1] ? to + 1 : "."));
}

static int SlowLink(const char* from, const char* to) {
    return Result(linkat(g_folder, Slow(from), g_folder, to[1] ? to + 1 : ".", 0));
}

static int SlowChmod(const char* path, mode_t mode) {
    return Result(fchmodat(g_folder, Slow(path), mode, 0));
}

static int SlowChown(const char* path, uid_t user, gid_t group) {
    return Result(fchownat(g_folder, Slow(path), user, group, AT_SYMLINK_NOFOLLOW));
}

static int SlowTruncate(const char* path, off_t size) {
    const int fd = openat(g_folder, Slow(path), O_WRONLY);
    if (fd < 0)
        return -errno;
    const int result = Result(ftruncate(fd, size));
    close(fd);
    return result;
}

static int SlowFtruncate(const char* path, off_t size, struct fuse_file_info* fi) {
    (void)Slow(path);
    return Result(ftruncate((int)fi->fh, size));
}

static int SlowUtimens(const char* path, const struct timespec times[2]) {
    return Result(utimensat(g_folder, Slow(path), times, AT_SYMLINK_NOFOLLOW));
}

static int SlowOpen(const char* path, struct fuse_file_info* fi) {
    const int fd = openat(g_folder, Slow(path), fi->flags);
    if (fd < 0)
        return -errno;
    fi->fh = (uint64_t)fd;
    return 0;
}

// O_EXCL comes along in the flags: the lock files are taken here as on a local disk.
static int SlowCreate(const char* path, mode_t mode, struct fuse_file_info* fi) {
    const int fd = openat(g_folder, Slow(path), fi->flags | O_CREAT, mode);
    if (fd < 0)
        return -errno;
    fi->fh = (uint64_t)fd;
    return 0;
}

static int SlowRead(const char* path, char* buffer, size_t size, off_t offset,
                    struct fuse_file_info* fi) {
    (void)Slow(path);
    const ssize_t length = pread((int)fi->fh, buffer, size, offset);
    return length < 0 ? -errno : (int)length;
}

static int SlowWrite(const char* path, const char* buffer, size_t size, off_t offset,
                     struct fuse_file_info* fi) {
    (void)Slow(path);
    const ssize_t length = pwrite((int)fi->fh, buffer, size, offset);
    return length < 0 ? -errno : (int)length;
}

static int SlowStatfs(const char* path, struct statvfs* st) {
    (void)Slow(path);
    return Result(fstatvfs(g_folder, st));
}

// A close: the file's last writes reach the server.
static int SlowFlush(const char* path, struct fuse_file_info* fi) {
    (void)Slow(path);
    const int copy = dup((int)fi->fh);
    return copy < 0 ? -errno : Result(close(copy));
}

static int SlowRelease(const char* path, struct fuse_file_info* fi) {
    (void)Slow(path);
    close((int)fi->fh);
    return 0;
}

static int SlowFsync(const char* path, int datasync, struct fuse_file_info* fi) {
    (void)Slow(path);
    return Result(datasync ? fdatasync((int)fi->fh) : fsync((int)fi->fh));
}

int main(int argc, char** argv) {
    if (argc < 4) {
        fprintf(stderr,
                "usage: vantorel_slow_mount FOLDER MILLISECONDS MOUNTPOINT [FUSE OPTIONS...]\n");
        return 2;
    }
    g_folder = open(argv[1], O_RDONLY | O_DIRECTORY);
    if (g_folder < 0) {
        perror(argv[1]);
        return 1;
    }
    const long milliseconds = strtol(argv[2], NULL, 10);
    g_delay.tv_sec = milliseconds / 1000;
    g_delay.tv_nsec = milliseconds % 1000 * 1000000L;

    struct fuse_operations operations = {0};
    operations.getattr = SlowGetattr;
    operations.fgetattr = SlowFgetattr;
    operations.access = SlowAccess;
    operations.readlink = SlowReadlink;
    operations.opendir = SlowOpendir;
    operations.readdir = SlowReaddir;
    operations.releasedir = SlowReleasedir;
    operations.fsyncdir = SlowFsyncdir;
    operations.mknod = SlowMknod;
    operations.mkdir = SlowMkdir;
    operations.unlink = SlowUnlink;
    operations.rmdir = SlowRmdir;
    operations.symlink = SlowSymlink;
    operations.rename = SlowRename;
    operations.link = SlowLink;
    operations.chmod = SlowChmod;
    operations.chown = SlowChown;
    operations.truncate = SlowTruncate;
    operations.ftruncate = SlowFtruncate;
    operations.utimens = SlowUtimens;
    operations.open = SlowOpen;
    operations.create = SlowCreate;
    operations.read = SlowRead;
    operations.write = SlowWrite;
    operations.statfs = SlowStatfs;
    operations.flush = SlowFlush;
    operations.release = SlowRelease;
    operations.fsync = SlowFsync;
    // FUSE sees the program's name, the mount point and the options.
    argv[2] = argv[0];
    return fuse_main(argc - 2, argv + 2, &operations, NULL);
}
