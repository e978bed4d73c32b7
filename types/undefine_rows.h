// SPDX-License-Identifier: Apache-2.0
// Ends a reading of types/catalogue.def: the names of its rows mean nothing any more. Included after each
// reading.
#undef OPTION
#undef FREE_TEXT
#undef NUMBER_CHOICE
#undef NUMBER_WITHOUT_DEFAULT
#undef NUMBER_FROM
#undef SETTING
#undef SWITCH
#undef VARIABLE_FROM
