/* What a host does to itself and to its threads, on either system. */

/* Runs a function on a thread of its own. */
void start_thread(void (*body)(void));
/* Ends the thread that was started last, wherever it is; 0 where the system has no such thing. */
int kill_thread(void);
void wait_milliseconds(unsigned milliseconds);
/* Ends the process at once, with this status, as the system's own function does. */
void end_process(int status);
/* Reads from nowhere. */
void crash(void);
/* Every thread that begins from now on does so this much later; nothing where the system has no such thing. */
void delay_threads(unsigned milliseconds);
