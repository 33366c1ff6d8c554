/* SPDX-License-Identifier: MIT */
/* Posts a JSON text to a web server and prints the object that it answers:
 *
 *     post_json 192.0.2.10 8080 /api/state '{"on": true}' */
#include <stdio.h>
#include <stdlib.h>

#include <tvlink.h>
#include <tvlink/host/http_client.h>

/* By default diagnostics go to standard output, which is for the answer here. */
static void print_to_standard_error(int stream, const char *text, void *context)
{
    (void)stream;
    (void)context;
    fputs(text, stderr);
}

int main(int count, char **words)
{
    WebTcpClient client;
    char *answer = NULL;
    int failed = 1;

    if (count != 5) {
        fprintf(stderr, "usage: post_json ADDRESS PORT PATH JSON\n");
        return 2;
    }
    ipp_set_log_sink(print_to_standard_error, NULL);
    if (web_tcpclient_create(&client, words[1], (int)strtol(words[2], NULL, 10)) != 0) {
        fprintf(stderr, "post_json: no such address, or no socket\n");
        return 1;
    }
    if (http_post(&client, words[3], words[4], &answer) == 0) {
        puts(answer);
        failed = 0;
    }
    free(answer);
    web_tcpclient_close(&client); /* another post would have to create the record again */
    return failed;
}
