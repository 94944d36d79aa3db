/*
 * health_check - asks a Strata server how it is, in the manner of monitoring systems: one line,
 * with figures behind a bar, and an exit status that says 0 OK, 1 WARNING, 2 CRITICAL or 3 UNKNOWN.
 *
 *   health_check -H ldap://127.0.0.1:1389 -p dc=example,dc=com
 *
 * It binds, asks for all replicas of the partition, and for each how many changes wait for it. Slow
 * answers (-w, -c seconds), a backlog (-W, -C changes) and a replica that is not on are reported. A
 * server that cannot be reached is CRITICAL; what keeps this program from asking is UNKNOWN.
 */
#define _POSIX_C_SOURCE 200809L
#include <ctype.h>
#include <qldapx.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

enum status { OK, WARNING, CRITICAL, UNKNOWN };

struct options {
    const char *uri, *bind_dn, *password_file;
    char *partition;
    double slow[2];   /* seconds: WARNING, CRITICAL */
    double behind[2]; /* changes */
    double patience;  /* seconds for an answer */
};

struct health {
    enum status status;
    int replicas, entries;
    double behind; /* of the replica that most changes wait for */
    double seconds;
    char off[80]; /* a replica that is not on */
};

/* The one line, and the end. What servers say must not break the line nor begin the figures. */
static void report(enum status status, const char *figures, const char *format, ...) {
    static const char *const words[] = {"OK", "WARNING", "CRITICAL", "UNKNOWN"};
    char line[512];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    for (char *each = line; *each != '\0'; ++each)
        if (iscntrl((unsigned char)*each) || *each == '|')
            *each = ' ';
    printf("STRATA %s: %s%s\n", words[status], line, figures);
    exit(fflush(stdout) == 0 ? (int)status : (int)UNKNOWN);
}

static void fail(LDAP *ld, const char *what, int code) {
    char *message = NULL;
    if (ld != NULL)
        ldap_get_option(ld, LDAP_OPT_DIAGNOSTIC_MESSAGE, &message);
    const int unreachable = code == LDAP_SERVER_DOWN || code == LDAP_TIMEOUT ||
                            code == LDAP_CONNECT_ERROR || code == LDAP_BUSY ||
                            code == LDAP_UNAVAILABLE;
    report(unreachable ? CRITICAL : UNKNOWN, "", "%s: %s%s%s", what, ldap_err2string(code),
           message != NULL ? ": " : "", message != NULL ? message : "");
}

static double now(void) {
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return (double)time.tv_sec + (double)time.tv_nsec / 1e9;
}

static enum status judge(double value, const double limits[2]) {
    return value > limits[1] ? CRITICAL : value > limits[0] ? WARNING : OK;
}

static enum status worse(enum status one, enum status other) {
    return one > other ? one : other;
}

/* The first line of the file; the caller's memory keeps it as long as the program runs. */
static struct berval password(const char *file) {
    static char line[1024];
    struct berval value = {0, line};
    FILE *stream = file == NULL ? NULL : fopen(file, "r");
    if (file != NULL && (stream == NULL || fgets(line, sizeof line, stream) == NULL))
        report(UNKNOWN, "", "cannot read a password from %s", file);
    if (stream != NULL)
        fclose(stream);
    line[strcspn(line, "\r\n")] = '\0';
    value.bv_len = (ber_len_t)strlen(line);
    return value;
}

static LDAP *connect_to(const struct options *options) {
    LDAP *ld = NULL;
    const int version = LDAP_VERSION3;
    const long seconds = (long)options->patience;
    const struct timeval patience = {seconds, (long)((options->patience - (double)seconds) * 1e6)};
    struct berval credentials = password(options->password_file);
    int code = ldap_initialize(&ld, options->uri);
    if (code != LDAP_SUCCESS)
        fail(NULL, options->uri, code == LDAP_PARAM_ERROR ? code : LDAP_LOCAL_ERROR);
    ldap_set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
    ldap_set_option(ld, LDAP_OPT_NETWORK_TIMEOUT, &patience);
    ldap_set_option(ld, LDAP_OPT_TIMEOUT, &patience);
    code = ldap_sasl_bind_s(ld, options->bind_dn, LDAP_SASL_SIMPLE, &credentials, NULL, NULL, NULL);
    if (code != LDAP_SUCCESS)
        fail(ld, options->uri, code);
    return ld;
}

/* The numbers of a report are the server's: 3 is the state, 0 when the replica is on, 5 its
 * entries, 7 the changes that wait for it. */
static void add_replica(LDAP *ld, char *partition, char *server, const struct options *options,
                        struct health *health) {
    ReplicaInfo info = {0};
    const int code = ldap_get_replica_info(ld, partition, server, &info);
    if (code != LDAP_SUCCESS)
        fail(ld, server, code);
    if (info.number3 != 0) {
        health->status = worse(health->status, WARNING);
        snprintf(health->off, sizeof health->off, ", not on: %.60s", server);
    }
    if (info.number5 > health->entries)
        health->entries = info.number5;
    if (info.number7 > health->behind)
        health->behind = info.number7;
    health->status = worse(health->status, judge(info.number7, options->behind));
    ++health->replicas;
}

static void look_at_replicas(LDAP *ld, const struct options *options, struct health *health) {
    char **servers = NULL;
    const int code = ldap_list_replicas(ld, options->partition, &servers);
    if (code != LDAP_SUCCESS)
        fail(ld, options->partition, code);
    for (char **each = servers; each != NULL && *each != NULL; ++each)
        add_replica(ld, options->partition, *each, options, health);
    ber_memvfree((void **)servers);
    if (health->replicas == 0)
        report(UNKNOWN, "", "%s has no replicas", options->partition);
}

static double number(const char *text) {
    char *end = NULL;
    const double value = strtod(text, &end);
    if (end == text || *end != '\0' || !(value >= 0 && value < 1e9))
        report(UNKNOWN, "", "%s is no number from 0 on", text);
    return value;
}

static struct options read_options(int argc, char **argv) {
    struct options options = {NULL, NULL, NULL, NULL, {1, 5}, {100, 1000}, 10};
    int option;
    opterr = 0; /* the one line says it */
    while ((option = getopt(argc, argv, "H:D:y:p:t:w:c:W:C:")) != -1)
        switch (option) {
        case 'H':
            options.uri = optarg;
            break;
        case 'D':
            options.bind_dn = optarg;
            break;
        case 'y':
            options.password_file = optarg;
            break;
        case 'p':
            options.partition = optarg;
            break;
        case 't':
            options.patience = number(optarg);
            break;
        case 'w':
            options.slow[0] = number(optarg);
            break;
        case 'c':
            options.slow[1] = number(optarg);
            break;
        case 'W':
            options.behind[0] = number(optarg);
            break;
        case 'C':
            options.behind[1] = number(optarg);
            break;
        default:
            options.uri = NULL;
            optind = argc;
            break;
        }
    if (options.uri == NULL || options.partition == NULL || optind != argc)
        report(UNKNOWN, "",
               "usage: health_check -H URI -p PARTITION [-D DN -y PASSWORD_FILE] [-t SECONDS] "
               "[-w SECONDS] [-c SECONDS] [-W CHANGES] [-C CHANGES]");
    return options;
}

int main(int argc, char **argv) {
    const struct options options = read_options(argc, argv);
    struct health health = {OK, 0, 0, 0, 0, ""};
    char figures[256];
    signal(SIGPIPE, SIG_IGN); /* a connection that breaks is a result, not the end */
    const double begin = now();
    LDAP *ld = connect_to(&options);
    look_at_replicas(ld, &options, &health);
    health.seconds = now() - begin;
    ldap_unbind_ext_s(ld, NULL, NULL);
    health.status = worse(health.status, judge(health.seconds, options.slow));
    snprintf(figures, sizeof figures,
             " | time=%.3fs;%g;%g;0 waiting=%.0f;%g;%g;0 entries=%d;;;0 replicas=%d;;;0",
             health.seconds, options.slow[0], options.slow[1], health.behind, options.behind[0],
             options.behind[1], health.entries, health.replicas);
    report(health.status, figures, "%d replicas of %s, %.0f changes wait, %.3f s%s",
           health.replicas, options.partition, health.behind, health.seconds, health.off);
}
