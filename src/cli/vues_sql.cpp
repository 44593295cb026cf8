#include "cli/vues_sql.h"

#include <set>

namespace vesk::cli {

namespace {

std::string Minuscules(std::string_view s) {
  std::string out(s);
  for (char& c : out) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return out;
}

// An identifier as PostgreSQL takes it whatever it holds.
std::string Identifiant(std::string_view nom) {
  std::string out = "\"";
  for (char c : nom) {
    out += c;
    if (c == '"') out += '"';
  }
  return out + "\"";
}

std::string Qualifie(std::string_view schema, std::string_view nom) {
  return Identifiant(schema) + "." + Identifiant(nom);
}

// A function of ours in the root schema: immutable, so that the server may fold it.
std::string Fonction(std::string_view racine, std::string_view signature, std::string_view retour,
                     std::string_view corps) {
  return "CREATE OR REPLACE FUNCTION " + Identifiant(racine) + "." + std::string(signature) +
         " RETURNS " + std::string(retour) +
         " LANGUAGE sql IMMUTABLE STRICT PARALLEL SAFE AS $vesk$\n" + std::string(corps) +
         "\n$vesk$";
}

// The bytes of a field in its record.
std::string Octets(const ColonneVue& c) {
  return "substring(octets FROM " + std::to_string(c.debut) + " FOR " + std::to_string(c.longueur) +
         ")";
}

// What decodes a field, by type and internal format.
std::string Expression(const ColonneVue& c, std::string_view racine) {
  const std::string f = Identifiant(racine) + ".";
  const std::string b = Octets(c);
  const std::string d = std::to_string(c.decimales);
  switch (c.type) {
    case 'M':
      if (c.format == 'I') return f + "vesk_entier2(" + b + ")";
      return "round(" + f + (c.format == 'S' ? "vesk_reel4(" : "vesk_reel8(") + b + ")::numeric, " +
             d + ")";
    case 'N':
      return f + "vesk_nombre(" + b + ", " + d + ")";
    case 'D':
      return f + "vesk_date(" + b + ")";
    case 'E':
      return f + "vesk_numero(" + b + ")";
    case 'B':
      return "CASE " + b + " WHEN '\\x4f'::bytea THEN true WHEN '\\x4e'::bytea THEN false END";
    default:  // A, L: the characters without their padding
      return "rtrim(convert_from(" + b + ", 'WIN1252'), ' ')";
  }
}

}  // namespace

std::vector<std::string> FonctionsVues(std::string_view racine) {
  return {
      // A 2-byte signed integer, low byte first (internal format I).
      Fonction(racine, "vesk_entier2(b bytea)", "smallint",
               "SELECT (((get_byte(b, 1) << 8) | get_byte(b, 0))\n"
               "        - CASE WHEN get_byte(b, 1) >= 128 THEN 65536 ELSE 0 END)::smallint"),
      // A 4-byte IEEE real, low byte first (internal format S), exactly as a double; NULL for a
      // NaN or an infinity.
      Fonction(racine, "vesk_reel4(b bytea)", "double precision",
               "SELECT CASE WHEN e = 255 THEN NULL\n"
               "  WHEN e = 0 THEN s * m * power(2::float8, -149)\n"
               "  ELSE s * (m + 8388608) * power(2::float8, e - 150) END\n"
               "FROM (SELECT CASE WHEN get_byte(b, 3) >= 128 THEN -1::float8 ELSE 1::float8 END "
               "AS s,\n"
               "  ((get_byte(b, 3) & 127) << 1) | (get_byte(b, 2) >> 7) AS e,\n"
               "  ((get_byte(b, 2) & 127) << 16) | (get_byte(b, 1) << 8) | get_byte(b, 0) AS m) "
               "x"),
      // An 8-byte IEEE real, low byte first (internal format D); NULL for a NaN or an infinity.
      Fonction(racine, "vesk_reel8(b bytea)", "double precision",
               "SELECT CASE WHEN e = 2047 THEN NULL\n"
               "  WHEN e = 0 THEN s * m * power(2::float8, -1074)\n"
               "  ELSE s * (m + 4503599627370496) * power(2::float8, e - 1075) END\n"
               "FROM (SELECT CASE WHEN get_byte(b, 7) >= 128 THEN -1::float8 ELSE 1::float8 END "
               "AS s,\n"
               "  ((get_byte(b, 7) & 127) << 4) | (get_byte(b, 6) >> 4) AS e,\n"
               "  ((get_byte(b, 6) & 15)::bigint << 48) | (get_byte(b, 5)::bigint << 40)\n"
               "  | (get_byte(b, 4)::bigint << 32) | (get_byte(b, 3)::bigint << 24)\n"
               "  | (get_byte(b, 2) << 16) | (get_byte(b, 1) << 8) | get_byte(b, 0) AS m) x"),
      // A number of 3 bytes, high byte first (a record number, a date's day).
      Fonction(racine, "vesk_numero(b bytea)", "integer",
               "SELECT (get_byte(b, 0) << 16) | (get_byte(b, 1) << 8) | get_byte(b, 2)"),
      // A date: its day number, 1 for 1 January 1900; none for 0 or three spaces.
      Fonction(racine, "vesk_date(b bytea)", "date",
               "SELECT CASE WHEN n = 0 OR n = 2105376 THEN NULL ELSE DATE '1899-12-31' + n END\n"
               "FROM (SELECT " +
                   Identifiant(racine) + ".vesk_numero(b) AS n) x"),
      // A number held as its text, spaces ignored; none when it is not one.
      Fonction(racine, "vesk_nombre(b bytea, d integer)", "numeric",
               "SELECT CASE WHEN t ~ '^[-+]?([0-9]+[.]?[0-9]*|[.][0-9]+)$'\n"
               "  THEN round(t::numeric, d) END\n"
               "FROM (SELECT replace(encode(b, 'escape'), ' ', '') AS t) x"),
  };
}

std::string NomVue(std::string_view nom) { return "v_" + Minuscules(nom); }

std::string SupprimeVue(std::string_view schema, std::string_view vue) {
  return "DROP VIEW IF EXISTS " + Qualifie(schema, vue);
}

std::vector<std::string> VueFichier(const FichierVue& f, std::string_view schema,
                                    std::string_view racine) {
  const std::string nom = Minuscules(f.nom);
  const std::string vue = Qualifie(schema, NomVue(f.nom));
  std::string select = "CREATE VIEW " + vue + " AS\nSELECT no";
  for (const ColonneVue& c : f.colonnes) {
    select += ",\n  " + Expression(c, racine) + " AS " + Identifiant(Minuscules(c.variable));
  }
  select += "\nFROM " + Qualifie(schema, "d_" + nom) + " WHERE NOT supprime";
  return {SupprimeVue(schema, NomVue(f.nom)), select,
          "COMMENT ON VIEW " + vue + " IS '" + std::string(kCommentaireVue) + f.nom + "'"};
}

std::vector<std::string> FautesVue(const FichierVue& f, int64_t longueur_enregistrement) {
  std::vector<std::string> fautes;
  std::set<std::string> vues = {"no"};
  for (const ColonneVue& c : f.colonnes) {
    const std::string nom = Minuscules(c.variable);
    if (nom.empty()) {
      fautes.push_back(f.nom + " : une rubrique sans variable (position " +
                       std::to_string(c.debut) + ")");
    } else if (!vues.insert(nom).second) {
      fautes.push_back(f.nom + " : la colonne « " + nom + " » (variable " + c.variable +
                       ") est déjà prise");
    }
    const int64_t fin = int64_t{c.debut} + c.longueur - 1;
    if (fin > longueur_enregistrement) {
      fautes.push_back(f.nom + " : la variable " + c.variable + " finit à la position " +
                       std::to_string(fin) + ", après la fin de l'enregistrement (" +
                       std::to_string(longueur_enregistrement) + " octets)");
    }
  }
  return fautes;
}

std::string TexteSql(const std::vector<std::string>& instructions) {
  std::string out;
  for (const std::string& i : instructions) out += i + ";\n\n";
  return out;
}

}  // namespace vesk::cli
