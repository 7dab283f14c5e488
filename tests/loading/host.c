/* A program that knows nothing of the library: it loads it while it runs, uses it, and unloads it.
 *
 *     host SCENARIO LIBRARY FUNCTION
 *
 * FUNCTION is a symbol of LIBRARY with the parameters of DateUtils::strToTime. StrConv::fromDate is called as well where
 * LIBRARY has it. Prints "unloaded" when LIBRARY has left the process by the end of the scenario. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <limits.h>
#include <pthread.h>
#include <semaphore.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

typedef int32_t ToTime(const char* format, const char* text);
typedef bool FromDate(const int32_t* time, wchar_t* text, const wchar_t* format);

static const char *path, *function;
static void* library;
static ToTime* toTime;
static FromDate* fromDate;
static sem_t converted, unloaded;
static pthread_key_t ours; /* the first of the process */

static void fail(const char* what, const char* why) {
    fprintf(stderr, "%s: %s\n", what, why ? why : "");
    exit(1);
}

static void load(void) {
    library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (!library) fail("dlopen", dlerror());
    *(void**)&toTime = dlsym(library, function);
    if (!toTime) fail("dlsym", dlerror());
    *(void**)&fromDate = dlsym(library, "_ZN7StrConv8fromDateERKiPwPKw");
}

static void unload(void) {
    if (dlclose(library) != 0) fail("dlclose", dlerror());
    library = NULL;
}

static void convert(void) {
    int mark = 0;
    pthread_setspecific(ours, &mark);
    for (int32_t day = 1; day <= 28; ++day) {
        const int32_t expected = 1706745600 + (day - 1) * 86400; /* 2024-02-01 */
        char date[16];
        snprintf(date, sizeof date, "202402%02d", (int)day);
        const int32_t time = toTime("%Y%m%d", date);
        if (time != expected) fail("wrong time of", date);
        if (!fromDate) continue;
        wchar_t wide[9] = L"", text[9] = L"";
        for (int i = 0; i < 8; ++i) wide[i] = date[i];
        if (!fromDate(&time, text, L"%Y%m%d") || wcscmp(text, wide) != 0) fail("wrong date for", date);
    }
    if (pthread_getspecific(ours) != &mark || mark != 0) fail("the host's own key has been used", NULL);
    pthread_setspecific(ours, NULL);
}

/* Uses the library, and ends once it has been unloaded. */
static void* convertAndStay(void* unused) {
    convert();
    sem_post(&converted);
    sem_wait(&unloaded);
    return unused;
}

/* Uses the library, and ends at any time. */
static void* convertAndLeave(void* unused) {
    convert();
    sem_post(&converted);
    return unused;
}

static void* convertForever(void* unused) {
    convert();
    sem_post(&converted);
    for (;;) convert();
    return unused;
}

static pthread_t start(void* (*work)(void*)) {
    pthread_t thread;
    if (pthread_create(&thread, NULL, work, NULL) != 0) fail("pthread_create", NULL);
    return thread;
}

static void join(pthread_t thread) {
    if (pthread_join(thread, NULL) != 0) fail("pthread_join", NULL);
}

static long kilobytesInMemory(void) {
    long all = 0, resident = 0;
    FILE* file = fopen("/proc/self/statm", "r");
    if (!file || fscanf(file, "%ld %ld", &all, &resident) != 2) fail("/proc/self/statm", NULL);
    fclose(file);
    return resident * 4;
}

static void here(void) {
    load();
    convert();
    unload();
}

static void inAThread(void) {
    load();
    join(start(convertAndLeave));
    unload();
}

static void threadOutlivesTheLibrary(void) {
    load();
    convert();
    pthread_t thread = start(convertAndStay);
    sem_wait(&converted);
    unload();
    sem_post(&unloaded);
    join(thread);
}

/* The thread may be anywhere on its way out when the library goes. */
static void threadLeavesMeanwhile(void) {
    for (int i = 0; i < 300; ++i) {
        load();
        pthread_t thread = start(convertAndLeave);
        sem_wait(&converted);
        unload();
        join(thread);
    }
}

static void againAndAgain(void) {
    long before = 0;
    for (int i = 0; i < 400; ++i) {
        load();
        convert();
        join(start(convertAndLeave));
        unload();
        if (i == 100) before = kilobytesInMemory();
    }
    const long grown = kilobytesInMemory() - before;
    printf("grown by %ld KB\n", grown);
    if (grown > 2000) fail("memory grows", NULL); /* 20 MB if 78 KB stayed each time */
}

static void manyThreads(void) {
    long before = 0;
    load();
    for (int i = 0; i < 600; ++i) {
        join(start(convertAndLeave));
        if (i == 100) before = kilobytesInMemory();
    }
    const long grown = kilobytesInMemory() - before;
    printf("grown by %ld KB\n", grown);
    if (grown > 2000) fail("memory grows", NULL);
    unload();
}

/* The host has taken what the system has of places for a thread's own pointers. */
static void withoutKeys(void) {
    pthread_key_t key;
    while (pthread_key_create(&key, NULL) == 0) continue;
    load();
    convert();
    join(start(convertAndLeave));
    unload();
}

static void onSmallStacks(void) {
    pthread_attr_t attributes;
    pthread_t thread;
    load();
    pthread_attr_init(&attributes);
    if (pthread_attr_setstacksize(&attributes, 65536) != 0) fail("pthread_attr_setstacksize", NULL);
    if (pthread_create(&thread, &attributes, convertAndLeave, NULL) != 0) fail("pthread_create", NULL);
    join(thread);
    unload();
}

static void endsWhileAThreadWorks(void) {
    load();
    convert();
    start(convertForever);
    sem_wait(&converted);
    exit(0); /* the C library calls what is to be called at the end of the program while the thread goes on */
}

static const struct {
    const char* name;
    void (*run)(void);
} scenarios[] = {
    {"here", here},
    {"inAThread", inAThread},
    {"threadOutlivesTheLibrary", threadOutlivesTheLibrary},
    {"threadLeavesMeanwhile", threadLeavesMeanwhile},
    {"againAndAgain", againAndAgain},
    {"manyThreads", manyThreads},
    {"withoutKeys", withoutKeys},
    {"onSmallStacks", onSmallStacks},
    {"endsWhileAThreadWorks", endsWhileAThreadWorks},
};

int main(int count, char** arguments) {
    if (count != 4) fail("usage", "host SCENARIO LIBRARY FUNCTION");
    path = arguments[2];
    function = arguments[3];
    if (pthread_key_create(&ours, NULL) != 0) fail("pthread_key_create", NULL);
    sem_init(&converted, 0, 0);
    sem_init(&unloaded, 0, 0);
    for (size_t i = 0; i < sizeof scenarios / sizeof *scenarios; ++i) {
        if (strcmp(scenarios[i].name, arguments[1]) != 0) continue;
        scenarios[i].run();
        if (!dlopen(path, RTLD_NOW | RTLD_NOLOAD)) puts("unloaded");
        return 0;
    }
    fail("no such scenario", arguments[1]);
}
