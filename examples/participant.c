// SPDX-License-Identifier: Apache-2.0
/*
 * Joins a domain, shows where the participant can be reached, and leaves.
 *
 *     participant [DOMAIN]
 *
 * When something fails, the library has said why on stderr.
 */
#include <errno.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>

#include "dds_c/dds_c.h"

/** Reads a domain id; returns 0 when the text is none. */
static int read_domain(const char *text, DDS_DomainId_t *domain) {
    char *end = NULL;
    long number = 0;

    errno = 0;
    number = strtol(text, &end, 10);
    if (end == text || *end != '\0' || errno != 0 || number < 0 || number > INT_MAX) {
        return 0;
    }
    *domain = (DDS_DomainId_t)number;
    return 1;
}

static void show_locators(const char *heading, const struct DDS_LocatorSeq *locators) {
    for (DDS_Long i = 0; i < DDS_LocatorSeq_get_length(locators); ++i) {
        char text[DDS_LOCATOR_STRING_SIZE];

        if (DDS_Locator_to_string(DDS_LocatorSeq_get_reference(locators, i), text, sizeof(text)) ==
            DDS_RETCODE_OK) {
            printf("%s: %s\n", heading, text);
        }
    }
}

static DDS_ReturnCode_t show_participant(DDS_DomainParticipant *participant) {
    struct DDS_LocatorSeq locators = DDS_SEQUENCE_INITIALIZER;
    DDS_ReturnCode_t result = DDS_RETCODE_OK;

    printf("domain %d, participant index %d\n",
           (int)DDS_DomainParticipant_get_domain_id(participant),
           (int)DDS_DomainParticipant_get_participant_index(participant));

    result = DDS_DomainParticipant_get_metatraffic_unicast_locators(participant, &locators);
    if (result != DDS_RETCODE_OK) {
        goto done;
    }
    show_locators("discovery", &locators);

    result = DDS_DomainParticipant_get_metatraffic_multicast_locators(participant, &locators);
    if (result != DDS_RETCODE_OK) {
        goto done;
    }
    show_locators("discovery, multicast", &locators);

    result = DDS_DomainParticipant_get_default_unicast_locators(participant, &locators);
    if (result != DDS_RETCODE_OK) {
        goto done;
    }
    show_locators("user traffic", &locators);

done:
    DDS_LocatorSeq_finalize(&locators);
    return result;
}

int main(int argc, char **argv) {
    DDS_DomainId_t domain = 0;
    DDS_DomainParticipantFactory *factory = NULL;
    DDS_DomainParticipant *participant = NULL;
    DDS_ReturnCode_t result = DDS_RETCODE_ERROR;

    if (argc > 2 || (argc == 2 && !read_domain(argv[1], &domain))) {
        fprintf(stderr, "usage: %s [DOMAIN], with a domain id of 0 or more\n", argv[0]);
        return 2;
    }

    factory = DDS_DomainParticipantFactory_get_instance();
    if (factory == NULL) {
        return EXIT_FAILURE;
    }
    participant = DDS_DomainParticipantFactory_create_participant(
        factory, domain, DDS_PARTICIPANT_QOS_DEFAULT, NULL, DDS_STATUS_MASK_NONE);
    if (participant != NULL) {
        result = show_participant(participant);
        if (DDS_DomainParticipantFactory_delete_participant(factory, participant) !=
            DDS_RETCODE_OK) {
            result = DDS_RETCODE_ERROR;
        }
    }
    if (DDS_DomainParticipantFactory_finalize_instance() != DDS_RETCODE_OK) {
        result = DDS_RETCODE_ERROR;
    }
    return result == DDS_RETCODE_OK ? EXIT_SUCCESS : EXIT_FAILURE;
}
