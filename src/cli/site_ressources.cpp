// The site's style sheet, its search script and the search's index: files of the site itself,
// so that nothing is fetched from elsewhere.
#include "cli/site_html.h"
#include "cli/site_pages.h"
#include "cli/texte_json.h"

namespace vesk::cli::site {

namespace {

std::string Entree(std::string_view genre, const std::string& nom, const std::string& detail,
                   const std::string& lien) {
  return "[" + TexteJson(genre) + "," + TexteJson(nom) + "," + TexteJson(detail) + "," +
         TexteJson(lien) + "],\n";
}

}  // namespace

std::string IndexRecherche(const DonneesSite& d) {
  std::string js =
      "// Généré par vesk site : [genre, nom, détail, page].\nwindow.VESK_RECHERCHE = [\n";
  for (const auto& [nom, f] : d.modele.fichiers) {
    const std::string page = "fichiers/" + NomPage(nom);
    js += Entree("fichier", nom, std::to_string(f.rubriques.size()) + " rubriques", page);
    for (const fic::Rubrique& r : f.rubriques) {
      js += Entree("rubrique", r.variable, r.nom + " (" + nom + ")", page + "#r-" + r.variable);
    }
  }
  for (const auto& [code, dom] : d.modele.domaines) {
    js += Entree("domaine", code, dom.nom, "domaines/" + NomPage(code));
  }
  return js + "];\n";
}

std::string_view FeuilleStyle() {
  return R"css(/* Généré par vesk site. */
:root { --encre: #1b1f24; --lien: #1a4f8b; --trait: #c9d1da; --fond: #f4f6f8; }
* { box-sizing: border-box; }
body { margin: 0; font: 16px/1.45 "Liberation Sans", Arial, Helvetica, sans-serif;
  color: var(--encre); background: #fff; }
a { color: var(--lien); }
a:focus, input:focus, button:focus { outline: 3px solid #f0a500; outline-offset: 2px; }
.evitement { position: absolute; left: -999px; }
.evitement:focus { left: 8px; top: 8px; background: #fff; padding: 4px 8px; z-index: 2; }
header { display: flex; flex-wrap: wrap; gap: 8px 24px; align-items: center;
  padding: 10px 24px; background: #1f3b5a; color: #fff; }
header a { color: #fff; margin-right: 16px; font-weight: bold; }
header form { display: flex; gap: 6px; align-items: center; margin-left: auto; }
header input { width: 18em; max-width: 60vw; padding: 4px 6px; font-size: 15px; }
main { padding: 8px 24px 24px; max-width: 1400px; }
h1 { font-size: 26px; margin: 12px 0; }
h2 { font-size: 20px; margin: 24px 0 8px; border-bottom: 2px solid var(--trait); }
.defile { overflow-x: auto; }
table { border-collapse: collapse; margin: 4px 0 12px; font-size: 14px; }
caption { text-align: left; font-style: italic; padding: 4px 0; }
th, td { border: 1px solid var(--trait); padding: 3px 8px; text-align: left;
  vertical-align: top; }
thead th { background: var(--fond); }
tbody th { font-weight: normal; }
td ul { margin: 0; padding-left: 1.1em; }
table.rubriques td:nth-child(9), table.rubriques td:nth-child(10) { text-align: right; }
dl.resume { display: grid; grid-template-columns: max-content auto; gap: 2px 16px; }
dl.resume dt { font-weight: bold; }
dl.resume dd { margin: 0; }
figure.diagramme { margin: 8px 0; overflow: auto; border: 1px solid var(--trait);
  padding: 8px; }
figure.diagramme svg { max-width: 100%; height: auto; }
figure.entier svg { max-width: none; }
figcaption { font-size: 14px; margin-top: 6px; }
#resultats li { margin: 4px 0; }
.genre { display: inline-block; min-width: 6em; color: #555; font-size: 13px; }
footer { padding: 12px 24px; color: #555; font-size: 13px; border-top: 1px solid var(--trait); }
@media (max-width: 640px) {
  header { padding: 8px 12px; }
  header form { margin-left: 0; width: 100%; }
  header input { flex: 1; width: auto; max-width: none; }
  main { padding: 4px 12px 16px; }
  dl.resume { grid-template-columns: auto; }
}
)css";
}

std::string_view ScriptRecherche() {
  return R"js(// Généré par vesk site : la recherche dans window.VESK_RECHERCHE (index-recherche.js), par
// les mots tapés ou par l'adresse recherche.html?q=MOTS, sans tenir compte de la casse ni des
// accents.
(function () {
  'use strict';
  var kMax = 200;
  var entrees = window.VESK_RECHERCHE || [];
  var champ = document.getElementById('q');
  var liste = document.getElementById('resultats');
  var etat = document.getElementById('etat');
  function plie(t) {
    return t.normalize('NFD').replace(/[\u0300-\u036f]/g, '').toLowerCase();
  }
  var plies = entrees.map(function (e) { return plie(e[1] + ' ' + e[2]); });
  function resultat(e) {
    var li = document.createElement('li');
    var genre = document.createElement('span');
    genre.className = 'genre';
    genre.textContent = e[0];
    var a = document.createElement('a');
    a.href = e[3];
    a.textContent = e[1];
    li.append(genre, ' ', a, ' : ' + e[2]);
    return li;
  }
  function cherche(q) {
    var mots = plie(q).split(/\s+/).filter(Boolean);
    liste.textContent = '';
    if (mots.length === 0) {
      etat.textContent = 'Tapez une partie du nom d\u2019un fichier, d\u2019une rubrique, ' +
        'd\u2019une variable ou d\u2019un domaine.';
      return;
    }
    var n = 0;
    for (var i = 0; i < entrees.length; i++) {
      if (!mots.every(function (m) { return plies[i].indexOf(m) >= 0; })) continue;
      if (++n <= kMax) liste.appendChild(resultat(entrees[i]));
    }
    etat.textContent = n === 0 ? 'Aucun résultat pour « ' + q + ' ».'
      : n + ' résultat(s) pour « ' + q + ' »' + (n > kMax ? ', les ' + kMax + ' premiers' : '') +
        '.';
  }
  var q = new URLSearchParams(window.location.search).get('q') || '';
  champ.value = q;
  champ.addEventListener('input', function () { cherche(champ.value); });
  cherche(q);
})();
)js";
}

}  // namespace vesk::cli::site
