/* What both libxmlsec1 benchmarks need: a file read into memory and a monotonic clock. */
#ifndef TALVORAN_BENCH_UTIL_H
#define TALVORAN_BENCH_UTIL_H

#include <stdio.h>
#include <stdlib.h>
#include <time.h>

struct buffer {
    char *data;
    size_t size;
};

static int read_file(const char *path, struct buffer *out) {
    FILE *f = fopen(path, "rb");
    long size;
    if (f == NULL) return -1;
    if (fseek(f, 0, SEEK_END) != 0 || (size = ftell(f)) <= 0 || fseek(f, 0, SEEK_SET) != 0) {
        fclose(f);
        return -1;
    }
    out->data = malloc((size_t)size);
    out->size = (size_t)size;
    if (out->data == NULL || fread(out->data, 1, out->size, f) != out->size) {
        fclose(f);
        return -1;
    }
    fclose(f);
    return 0;
}

static double now_seconds(void) {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return (double)ts.tv_sec + (double)ts.tv_nsec / 1e9;
}

#endif
