#include "cleanup/cookie_entries.h"
#include "cleanup/delete_saml_auth_folder.h"
#include "zelto_auth.h"

uint32_t ClearCookies(void) {
    return zelto::DeleteCookieEntries() ? 0 : 1;
}

uint32_t SamlAuthClearCookies(void) {
    zelto::DeleteCookieEntries();
    zelto::DeleteSamlAuthFolder();
    return 0;
}
