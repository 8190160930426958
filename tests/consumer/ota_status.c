/* An application that reads the last firmware update's result through the
 * installed library. It serves one reply itself, from a child process at the
 * server's path (SERVER_SOCKET, given by the build), and prints the record:
 *   ota_status "<completion time>"
 *   -> "<success> <time> <text> <extra> <bytes past the record untouched>"
 * Built with and without a 64-bit time_t. */
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <zelto_sdk.h>

static void serve(int listener, const char *time) {
    char reply[160], in[64];
    int fd = accept(listener, NULL, NULL);
    ssize_t n = 0;
    if (fd < 0) _exit(1);
    while (n < (ssize_t)sizeof in - 1 && read(fd, in + n, 1) == 1 && in[n] != '\n') n++;
    snprintf(reply, sizeof reply, "\r\nOTA Status: SUCCESS\r\nCompleted Time: %s\r\n\r\nOK\r\n", time);
    if (write(fd, reply, strlen(reply)) < 0) _exit(1);
    sleep(5);  /* until the parent has its reply and ends this process */
    _exit(0);
}

int main(int argc, char **argv) {
    struct sockaddr_un addr = {AF_UNIX, SERVER_SOCKET};
    struct {
        zelOTAStatus status;
        unsigned char after[16];
    } out;
    int listener = socket(AF_UNIX, SOCK_STREAM, 0), result, intact = 1;
    pid_t server;
    size_t i;
    if (argc != 2 || listener < 0) return 2;
    unlink(SERVER_SOCKET);
    if (bind(listener, (struct sockaddr *)&addr, sizeof addr) != 0 || listen(listener, 1) != 0) return 2;
    server = fork();
    if (server == 0) serve(listener, argv[1]);
    memset(&out, 0xA5, sizeof out);
    result = zelInit() == 0 ? zelOTAGetStatus(&out.status) : -1000;
    zelExit();
    kill(server, SIGKILL);
    waitpid(server, NULL, 0);
    unlink(SERVER_SOCKET);
    for (i = 0; i < sizeof out.after; i++) intact &= out.after[i] == 0xA5;
    if (result != 0) return 3;
    printf("%u %lld %s %u %s\n", (unsigned)out.status.success, (long long)out.status.completedTime,
           out.status.completedTimeText, (unsigned)out.status.extra, intact ? "intact" : "overwritten");
    return 0;
}
