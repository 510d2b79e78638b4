// The file system's floor for a walk over a tree of documents: list each folder, then open,
// read and close every document in it, on as many threads as the reports use, and nothing
// else. Every report and export is timed against it (bench/run): what they take above it is
// ours to take out.
//
//   vantorel_floor FOLDER [THREADS]   prints the documents and bytes read

#define _GNU_SOURCE
#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

enum { kBufferSize = 1 << 20 };

struct Folders {
    char** paths;
    size_t count, capacity;
    atomic_size_t next;
};

static atomic_size_t documents, bytes;

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

static void* ReadFolders(void* data) {
    struct Folders* folders = data;
    char* buffer = malloc(kBufferSize);
    for (size_t at; (at = atomic_fetch_add(&folders->next, 1)) < folders->count;) {
        const int folder = open(folders->paths[at], O_RDONLY | O_DIRECTORY);
        DIR* dir = folder < 0 ? NULL : fdopendir(dup(folder));
        if (!dir) {
            if (folder >= 0)
                close(folder);
            continue;
        }
        for (struct dirent* entry; (entry = readdir(dir));) {
            const size_t length = strlen(entry->d_name);
            if (entry->d_type != DT_REG || length < 4 ||
                strcmp(entry->d_name + length - 4, ".vtl") != 0)
                continue;
            const int file = openat(folder, entry->d_name, O_RDONLY | O_NOFOLLOW);
            if (file < 0)
                continue;
            // One read: a document is far smaller than the buffer, and a short read of a
            // regular file is its end.
            const ssize_t got = read(file, buffer, kBufferSize);
            if (got > 0)
                atomic_fetch_add(&bytes, (size_t)got);
            close(file);
            atomic_fetch_add(&documents, 1);
        }
        closedir(dir);
        close(folder);
    }
    free(buffer);
    return NULL;
}

int main(int argc, char** argv) {
    if (argc < 2) {
        fprintf(stderr, "usage: vantorel_floor FOLDER [THREADS]\n");
        return 2;
    }
    long threads = argc > 2 ? strtol(argv[2], NULL, 10) : sysconf(_SC_NPROCESSORS_ONLN);
    if (threads < 1)
        threads = 1;
    struct Folders folders = {0};
    ListFolders(&folders, argv[1]);
    pthread_t* running = calloc((size_t)threads, sizeof *running);
    for (long i = 0; i < threads; ++i)
        pthread_create(&running[i], NULL, ReadFolders, &folders);
    for (long i = 0; i < threads; ++i)
        pthread_join(running[i], NULL);
    printf("%zu documents, %zu bytes\n", atomic_load(&documents), atomic_load(&bytes));
    return 0;
}
