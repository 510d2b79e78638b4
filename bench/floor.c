// The file system's floor for a walk over a tree of documents: list each folder, then open,
// read and close every document in it, on as many threads as the reports use, and nothing
// else. Every report and export is timed against it (bench/run): what they take above it is
// ours to take out.
//
// With --uring, each document's open, read and close are one linked chain of io_uring
// requests, and a folder's chains go to the kernel a batch at a time: one system call for
// a batch instead of three for each document.
//
//   vantorel_floor [--uring] FOLDER [THREADS]   prints the documents and bytes read

#define _GNU_SOURCE
#include <dirent.h>
#include <fcntl.h>
#include <liburing.h>
#include <pthread.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

enum { kBufferSize = 1 << 20, kBatch = 32, kChainBuffer = 64 * 1024 };

struct Folders {
    char** paths;
    size_t count, capacity;
    atomic_size_t next;
};

static atomic_size_t documents, bytes;

// A document whose read gave bytes counts; a short read of a regular file is its end.
static void Count(ssize_t got) {
    if (got > 0) {
        atomic_fetch_add(&bytes, (size_t)got);
        atomic_fetch_add(&documents, 1);
    }
}

// A document of the kind the reports read: a regular file named "*.vtl".
static int IsDocument(const struct dirent* entry) {
    const size_t length = strlen(entry->d_name);
    return entry->d_type == DT_REG && length >= 4 &&
           strcmp(entry->d_name + length - 4, ".vtl") == 0;
}

static void Add(struct Folders* folders, const char* path) {
    if (folders->count == folders->capacity) {
        folders->capacity = folders->capacity ? folders->capacity * 2 : 64;
        folders->paths = realloc(folders->paths, folders->capacity * sizeof *folders->paths);
        if (!folders->paths)
            exit(1);
    }
    folders->paths[folders->count++] = strdup(path);
}

// Every folder below root, root first; links are not followed.
static void ListFolders(struct Folders* folders, const char* root) {
    Add(folders, root);
    for (size_t at = 0; at < folders->count; ++at) {
        DIR* dir = opendir(folders->paths[at]);
        if (!dir)
            continue;
        for (struct dirent* entry; (entry = readdir(dir));) {
            if (entry->d_type != DT_DIR || entry->d_name[0] == '.')
                continue;
            char path[4096];
            snprintf(path, sizeof path, "%s/%s", folders->paths[at], entry->d_name);
            Add(folders, path);
        }
        closedir(dir);
    }
}

// The next folder to read, open as a descriptor and as a listing; 0 once every folder is
// taken.
static int NextFolder(struct Folders* folders, int* folder, DIR** dir) {
    for (size_t at; (at = atomic_fetch_add(&folders->next, 1)) < folders->count;) {
        *folder = open(folders->paths[at], O_RDONLY | O_DIRECTORY);
        *dir = *folder < 0 ? NULL : fdopendir(dup(*folder));
        if (*dir)
            return 1;
        if (*folder >= 0)
            close(*folder);
    }
    return 0;
}

static void* ReadFolders(void* data) {
    struct Folders* folders = data;
    char* buffer = malloc(kBufferSize);
    int folder;
    DIR* dir;
    while (NextFolder(folders, &folder, &dir)) {
        for (struct dirent* entry; (entry = readdir(dir));) {
            if (!IsDocument(entry))
                continue;
            const int file = openat(folder, entry->d_name, O_RDONLY | O_NOFOLLOW);
            if (file < 0)
                continue;
            // One read: a document is far smaller than the buffer.
            Count(read(file, buffer, kBufferSize));
            close(file);
        }
        closedir(dir);
        close(folder);
    }
    free(buffer);
    return NULL;
}

// Waits for a batch's requests and counts what the reads gave.
static void Reap(struct io_uring* ring, unsigned requests) {
    for (; requests > 0; --requests) {
        struct io_uring_cqe* done;
        if (io_uring_wait_cqe(ring, &done) < 0)
            exit(1);
        if (done->user_data == 1)
            Count(done->res);
        io_uring_cqe_seen(ring, done);
    }
}

static void* ReadFoldersInBatches(void* data) {
    struct Folders* folders = data;
    struct io_uring ring;
    if (io_uring_queue_init(kBatch * 3, &ring, 0) < 0 ||
        io_uring_register_files_sparse(&ring, kBatch) < 0) {
        fprintf(stderr, "io_uring is refused here\n");
        exit(1);
    }
    char* buffers = malloc((size_t)kBatch * kChainBuffer);
    char(*names)[sizeof((struct dirent*)0)->d_name] = malloc(kBatch * sizeof *names);
    int folder;
    DIR* dir;
    while (NextFolder(folders, &folder, &dir)) {
        unsigned queued = 0;
        for (struct dirent* entry;;) {
            entry = readdir(dir);
            if (entry && IsDocument(entry)) {
                // The name is kept until the batch is submitted: the next readdir may reuse
                // the listing's buffer. Hard links: the read is short (the document is smaller than
                // its buffer), which would cancel a plain link's close.
                struct io_uring_sqe* open = io_uring_get_sqe(&ring);
                strcpy(names[queued], entry->d_name);
                io_uring_prep_openat_direct(open, folder, names[queued], O_RDONLY | O_NOFOLLOW, 0,
                                            queued);
                open->flags |= IOSQE_IO_HARDLINK;
                open->user_data = 0;
                struct io_uring_sqe* read = io_uring_get_sqe(&ring);
                io_uring_prep_read(read, (int)queued, buffers + (size_t)queued * kChainBuffer,
                                   kChainBuffer, 0);
                read->flags |= IOSQE_FIXED_FILE | IOSQE_IO_HARDLINK;
                read->user_data = 1;
                struct io_uring_sqe* close = io_uring_get_sqe(&ring);
                io_uring_prep_close_direct(close, queued);
                close->user_data = 2;
                ++queued;
            }
            if (queued == kBatch || (!entry && queued > 0)) {
                io_uring_submit(&ring);
                Reap(&ring, queued * 3);
                queued = 0;
            }
            if (!entry)
                break;
        }
        closedir(dir);
        close(folder);
    }
    io_uring_queue_exit(&ring);
    free(buffers);
    free(names);
    return NULL;
}

int main(int argc, char** argv) {
    const int inBatches = argc > 1 && strcmp(argv[1], "--uring") == 0;
    argv += inBatches;
    argc -= inBatches;
    if (argc < 2) {
        fprintf(stderr, "usage: vantorel_floor [--uring] FOLDER [THREADS]\n");
        return 2;
    }
    long threads = argc > 2 ? strtol(argv[2], NULL, 10) : sysconf(_SC_NPROCESSORS_ONLN);
    if (threads < 1)
        threads = 1;
    struct Folders folders = {0};
    ListFolders(&folders, argv[1]);
    pthread_t* running = calloc((size_t)threads, sizeof *running);
    for (long i = 0; i < threads; ++i)
        pthread_create(&running[i], NULL, inBatches ? ReadFoldersInBatches : ReadFolders, &folders);
    for (long i = 0; i < threads; ++i)
        pthread_join(running[i], NULL);
    printf("%zu documents, %zu bytes\n", atomic_load(&documents), atomic_load(&bytes));
    return 0;
}
