/* What a process has of the system, to see whether a library that was loaded and unloaded has left anything there. */
#define COUNTERS 7

struct counter {
    const char *name;
    long long value;
    long long slack; /* what it may differ by, being everybody's: the system's own libraries count too */
};

/* Fills in COUNTERS of them; those without a name are none of this system's. */
void count_all(struct counter *counters);

/* A tenth of a second. */
void wait_a_moment(void);

/* Holds the system's own libraries, so that they are not loaded and unloaded with those that are looked at. */
void hold_system(void);

/* 1 where an exception of the host's own reaches the host's own handler, and no other one that was there before. */
int exceptions_arrive(void);
