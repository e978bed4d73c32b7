// SPDX-License-Identifier: Apache-2.0
// Equivalent length of a pipe's fittings, added to the pipe's own length. Lengths in metres; the counts, the type of
// connection and the miscellaneous length-to-diameter ratio belong to the owning pipe.
#include "frame/model.h"

struct QV_EXPORT QV_PIPEFITTINGS : QV_GENERICMODEL {
  MODEL_TEXT(PIPEFITTINGS)

  EXTERNAL(QV_REALPARAMETER, BRCHTEENO)
  EXTERNAL(QV_REALPARAMETER, BUTVALNO)
  EXTERNAL(QV_REALPARAMETER, ELBOWNO)
  EXTERNAL(QV_STRINGPARAMETER, FITCONNECT)
  EXTERNAL(QV_REALPARAMETER, GATVALNO)
  EXTERNAL(QV_REALPARAMETER, LDIAM)
  EXTERNAL(QV_REALPARAMETER, STRTEENO)

  VARIABLE(QV_LENGTH, XLIN)
  VARIABLE(QV_LENGTH, L, "Pipe length")
  VARIABLE(QV_LENGTH, XLENGTH, "Equivalent length of fittings")
  VARIABLE(QV_LENGTH, DIAM, "Pipe diameter")
  VARIABLE(QV_LENGTH, XELBI)
  VARIABLE(QV_LENGTH, XSTRTEEI)
  VARIABLE(QV_LENGTH, XBRHTEEI)
  VARIABLE(QV_LENGTH, XELBO)
  VARIABLE(QV_LENGTH, XSTRTEEO)
  VARIABLE(QV_LENGTH, XBRHTEEO)
  VARIABLE(QV_LENGTH, XGATE)
  VARIABLE(QV_LENGTH, XBUTT)
  VARIABLE(QV_LENGTH, XOTHER)

  void Assignments(Assigner& set) { set(L, 0.0); }

  void Equations(Equate& eq) {
    // 39.372 is meant, although a metre has 39.370 inches.
    eq("ini_length", XLIN == 2.4051 * (1.0 + 39.372 * DIAM) * pow(DIAM, 0.1975));
    eq("ini_elbow_len", XELBI == XLIN * ELBOWNO);
    eq("ini_strtee_len", XSTRTEEI == XLIN * STRTEENO);
    eq("ini_brchtee_len", XBRHTEEI == XLIN * BRCHTEENO);
    eq("gateval_len", XGATE == 0.1 * (XLIN * GATVALNO));
    eq("Butterval_len", XBUTT == 0.8 * (XLIN * BUTVALNO));
    eq.when(is(FITCONNECT, "Flanged-Welded"), [&] {
        eq("elbow_len", XELBO == 0.18 * XELBI);
        eq("strtee_len", XSTRTEEO == 0.1 * XSTRTEEI);
        eq("brchtee_len", XBRHTEEO == 0.45 * XBRHTEEI);
      }).orWhen(is(FITCONNECT, "Screwed"), [&] {
        eq("elbow_len", XELBO == 0.45 * XELBI);
        eq("strtee_len", XSTRTEEO == 0.15 * XSTRTEEI);
        eq("brchtee_len", XBRHTEEO == 0.7 * XBRHTEEI);
      });
    eq("miscld_len", XOTHER == DIAM * LDIAM);
    eq("equiv_len", XLENGTH == (L + XELBO) + ((XSTRTEEO + XBRHTEEO) + ((XGATE + XBUTT) + XOTHER)));
  }
};
EXPORT_MODEL(PIPEFITTINGS)
