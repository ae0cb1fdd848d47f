// Identifiers of the language resource module: strings, dialogs and menus.
// Shared by the resource scripts (rc) and the code, so only #define lines.
// The error-reporting texts (138, 156, 157) also have typed constants in support/error_text.h; the
// names here differ so that both headers can be included together.
#ifndef VX_RESOURCE_IDS_H
#define VX_RESOURCE_IDS_H

// Questions and labels of the add-credential dialog.
#define IDS_ASK_NO_AUTHENTICATION      2     /* %ls: role name */
#define IDS_ADD_LABEL_FOR_ROLE         3     /* %ls: role name */
#define IDS_EDIT_LABEL_FOR_ROLE        4     /* %ls: role name */
#define IDS_ASK_REPLACE_CREDENTIALS    5     /* %ls: existing combinations */
#define IDS_ERROR_NO_PLUGINS           6
#define IDS_WARN_DISABLED_ENROLLMENT   17    /* %ls: credential names */
#define IDS_WARN_ENROLLMENT_CONFLICT   19    /* %ls: policy name, %ls: combinations */
#define IDS_TITLE_EDIT_CREDENTIAL      21
#define IDS_TITLE_ADD_CREDENTIAL       22
#define IDS_ENFORCEMENT_NOW            39
#define IDS_ENFORCEMENT_UNCONFIGURED   40
#define IDS_ENFORCEMENT_IMMEDIATELY    41
#define IDS_ENFORCEMENT_SPECIFIC_DATE  42
#define IDS_ENFORCEMENT_FROM_DATE      47    /* %ls: date */
#define IDS_MESSAGE_CAPTION            138
#define IDS_STATE_NOT_CONFIGURED       144
#define IDS_ERROR_WITH_CODE            156   /* %ls: text, 0x%08X: HRESULT */
#define IDS_SAVE_FAILED                157
#define IDS_STATE_ENABLED              159
#define IDS_ADD_LINK                   172
#define IDS_ASK_DELETE                 173
#define IDS_PRIMARY_ALONE              226
#define IDS_ERROR_DUPLICATE            227   /* %ls: combination */
#define IDS_COMBINATION_JOINER         228
#define IDS_ERROR_LAST_COMBINATION     229
#define IDS_NO_AUTHENTICATION          253
#define IDS_ROLE_LOGON                 254
#define IDS_ROLE_RUNTIME               255
#define IDS_ROLE_KIOSK_RUNTIME         256
#define IDS_ROLE_ENROLLMENT            257
#define IDS_LOGON_POLICY_NAME          261
#define IDS_RUNTIME_POLICY_NAME        262
#define IDS_EXPLANATION_TITLE          283
#define IDS_SELECT_CREDENTIAL          285
#define IDS_STATE_DISABLED             286
#define IDS_LIST_TIP                   287
#define IDS_ASK_REPLACE_COMBINATIONS   289   /* %ls: existing combinations */
#define IDS_PRECEDENCE_TITLE           291
#define IDS_PRECEDENCE_HEADING         292
#define IDS_PRECEDENCE_COLUMN          293
#define IDS_ERROR_UNRELIABLE           1092  /* %ls: credential names */
#define IDS_SELECT_ROLE_AND_CREDENTIAL 1094

// Node titles and descriptions.
#define IDS_NODE_PRODUCT               300
#define IDS_NODE_PRODUCT_DESC          301
#define IDS_NODE_SECURITY              302
#define IDS_NODE_SECURITY_DESC         303
#define IDS_NODE_AUTHENTICATION        304
#define IDS_NODE_AUTHENTICATION_DESC   305
#define IDS_NODE_ENROLLMENT            306
#define IDS_NODE_ENROLLMENT_DESC       307
#define IDS_POLICY_LOGON               308   /* policy item, type 1 */
#define IDS_POLICY_RUNTIME             309   /* policy item, type 2 */
#define IDS_POLICY_KIOSK_RUNTIME       310
#define IDS_POLICY_LOGON_DESC          311
#define IDS_POLICY_RUNTIME_DESC        312
#define IDS_POLICY_KIOSK_RUNTIME_DESC  313
#define IDS_POLICY_ENROLLMENT_DESC     314
#define IDS_COLUMN_NAME                315
#define IDS_COLUMN_STATE               316

// The policy page's title, by policy kind (1: logon and kiosk runtime; others: runtime).
#define IDS_PAGE_TITLE                 320
#define IDS_PAGE_TITLE_RUNTIME         321
#define IDS_ENFORCEMENT_LOCAL_TIME     322
#define IDS_ENROLLMENT_PROMPT          323   /* the enrollment page's label above its list */
#define IDS_EXPLAIN_LOGON              330
#define IDS_EXPLAIN_RUNTIME            331
#define IDS_EXPLAIN_KIOSK_RUNTIME      332
#define IDS_EXPLAIN_ENROLLMENT         333

// Icons of the language resource module.
#define IDI_PAGE_HEADER                129
#define IDI_DELETE                     282
#define IDI_DELETE_HOT                 283
#define IDI_JOINER                     284
#define IDI_NO_AUTHENTICATION          287
#define IDI_CREDENTIAL                 288   /* a token whose plug-in gives no icon */

// Controls of the policy page and the add-credential dialog.
#ifndef IDC_STATIC
#define IDC_STATIC                     (-1)
#endif
#define IDC_PROMPT                     213
#define IDC_NOTICE                     1033
#define IDC_ADD_LINK                   1035
#define IDC_PAGE_TITLE                 1036
#define IDC_HEADER_ICON                1037
#define IDC_POLICIES_LIST              1094
#define IDC_TOKENS_LIST                1096  /* the enrollment page's check-box list */
#define IDC_NOT_CONFIGURED             1099
#define IDC_ENABLED                    1100
#define IDC_DISABLED                   1101
#define IDC_ENFORCEMENT_LINK           1110
#define IDC_ROLE_CAPTION               1200
#define IDC_ROLE_COMBO                 1201
#define IDC_ROLE_LABEL                 1202
#define IDC_PRIMARY_COMBO              1203
#define IDC_PRIMARY_LABEL              1204
#define IDC_SECONDARY_COMBO            1205
#define IDC_SECONDARY_LABEL            1206
#define IDC_PRECEDENCE_LIST            1013
#define IDC_EXPLANATION                226   /* the explanation text of the explanation page */
#define IDC_ENFORCE_MODE               1210
#define IDC_ENFORCE_DATE               1211
#define IDC_ENFORCE_TIME               1212
#define IDC_ENFORCE_BASIS              1213
#define IDC_ENFORCE_DATE_LABEL         1214
#define IDC_ENFORCE_BASIS_LABEL        1215
#define ID_POLICY_EDIT                 40016
#define ID_POLICY_DELETE               40017
#define ID_POLICY_ADD                  40019

// Dialogs and menus (templates in the language resource module).
#define IDD_EXPLANATION_PAGE           202
#define IDD_AUTH_POLICY_ADD            203
#define IDD_AUTH_POLICY_PAGE           204
#define IDD_ENROLLMENT_PAGE            205
#define IDD_ENFORCEMENT                291
#define IDD_PRECEDENCE_PAGE            290
#define IDR_POLICIES_MENU              145

#endif  // VX_RESOURCE_IDS_H
